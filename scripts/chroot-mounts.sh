# Sourced by the scripts that run commands inside a Debian root: bind-mounts the host's kernel file
# systems into it and takes them down again when the script exits, or earlier with unmount_all.
#   mount_kernel_filesystems ROOT [extra: dev/pts dev/shm ...]
mounted=()
unmount_all() {
    local i
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
        umount "${mounted[i]}" || umount -l "${mounted[i]}"
    done
    mounted=()
}
mount_kernel_filesystems() {
    local target=$1 fs
    shift
    trap unmount_all EXIT
    for fs in proc sys dev "$@"; do
        mount --bind "/$fs" "$target/$fs"
        mounted+=("$target/$fs")
    done
}
