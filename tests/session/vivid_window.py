#!/usr/bin/env python3
"""The program as users start it, against vivid, over AT-SPI: dead streams retried within 4 s,
controls, a 4:2:0 H.264 recording, unplug (while recording) and replug, not a word on the
console.
   vivid_window.py PROGRAM ATSPI_RIG"""
import glob, os, re, subprocess, sys, tempfile, time

if not any("-vid-cap" in open(p).read() for p in glob.glob("/sys/class/video4linux/*/name")):
    sys.exit(77)
program, rig = sys.argv[1:3]
if "RIG_SESSION_MARK" not in os.environ:  # a display, a session bus and the AT-SPI bus first
    os.execv(os.path.join(rig, "session.sh"), [os.path.join(rig, "session.sh"), sys.executable, *sys.argv])
sys.path.insert(0, rig)
import qtdrive as qd

LIVE, RETRY, NO_VIDEO = "●  预览正常", "●  正在重试", "●  无视频画面"


def node():  # after a rebind the driver may come back under another number
    names = glob.glob("/sys/class/video4linux/*/name")
    return next("/dev/" + p.split("/")[-2] for p in names if "-vid-cap" in open(p).read())


def driver(name):
    out = subprocess.run(["v4l2-ctl", "-d", node(), "-C", name], capture_output=True, text=True)
    return int(out.stdout.split(":")[1])


def moves(badge, status, shots):  # two screenshots 1.5 s apart differ, and not in the texts
    texts = (qd.name(badge), qd.name(status))
    first = open(qd.screenshot(os.path.join(shots, "a.png")), "rb").read()
    time.sleep(1.5)
    second = open(qd.screenshot(os.path.join(shots, "b.png")), "rb").read()
    return texts == (qd.name(badge), qd.name(status)) and first != second


def settles(badge, status, shots, seconds=60):
    qd.wait_until(lambda: qd.name(badge) == NO_VIDEO
                  or (qd.name(badge) == LIVE and moves(badge, status, shots)),
                  seconds, desc="a moving picture or no video")
    print("  then", qd.name(badge), "/", qd.name(status))


def held_vanished_nodes(pid):
    fds = glob.glob("/proc/%d/fd/*" % pid)
    return [t for t in map(os.readlink, fds) if t.startswith("/dev/video") and "(deleted)" in t]


failures = []
console = tempfile.NamedTemporaryFile(suffix=".log")  # what the program writes there: nothing
with qd.launch([program], log_path=console.name, extra_env={"LANG": "zh_CN.UTF-8"}, timeout=120) as app, \
        tempfile.TemporaryDirectory() as shots:
    badge = app.find(role="label", name_startswith="●  ", timeout=60)
    qd.wait_until(lambda: qd.name(badge) == LIVE, 120, desc="the first picture")
    status = app.find(role="label", name_startswith="预览正常：")
    for fault in ("disconnect=1", "inject_fatal_streaming_error=1"):
        time.sleep(1)
        subprocess.run(["v4l2-ctl", "-d", node(), "-c", fault], check=True)
        broken = time.monotonic()
        try:
            qd.wait_until(lambda: qd.name(badge) == RETRY, 5, desc="the retry after " + fault)
        except TimeoutError:  # GStreamer may restart a stream after an error by itself
            if not ("fatal" in fault and moves(badge, status, shots)):
                failures.append("%s: no retry within 5 s over a still picture" % fault)
            print(fault, "then", qd.name(badge), "/", qd.name(status))
            continue
        noticed = time.monotonic() - broken
        print("retry shown %.1f s after %s" % (noticed, fault))
        if noticed > 4:
            failures.append("%s noticed after %.1f s" % (fault, noticed))
        settles(badge, status, shots)
        qd.wait_until(lambda: qd.name(badge) == LIVE, 60, desc="the picture back")

    opening = driver("brightness")
    qd.set_value(app.find(role="spin button", label="亮度"), 200)
    qd.wait_until(lambda: driver("brightness") == 200, 10, desc="brightness 200 on the driver")
    qd.click(app.find(role=("push button", "button"), name="恢复初始设置"))  # "button" on Qt 6.8
    qd.wait_until(lambda: driver("brightness") == opening, 10, desc="brightness restored")

    qd.switch_tab(app, "拍摄与画面")  # a recording on the real driver: H.264 in a 4:2:0 profile
    qd.click(record := app.find(role=("push button", "button"), name="开始录像"))
    qd.wait_until(lambda: qd.name(record) == "停止录像", 30, desc="the recording started")
    time.sleep(4)
    qd.click(record)
    qd.wait_until(lambda: qd.name(status).startswith("录像"), 60, desc="the recording ended")
    media = subprocess.run(["gst-discoverer-1.0", "-v", qd.name(status).partition("：")[2]],
                           capture_output=True, text=True).stdout
    if not re.search(r"video/x-h264.*profile=\(string\)(constrained-baseline|main|high)[,;]", media):
        failures.append("recording: " + qd.name(status))

    first = qd.name(status).partition("：")[2]  # a second recording, ended by the unplug
    qd.click(record)
    qd.wait_until(lambda: qd.name(record) == "停止录像", 30, desc="the second recording started")
    time.sleep(4)
    with open("/sys/bus/platform/drivers/vivid/unbind", "w") as unbind:
        unbind.write("vivid.0")
    qd.wait_until(lambda: qd.name(badge) != LIVE, 30, desc="the unplug noticed")
    qd.wait_until(lambda: qd.name(record) == "开始录像", 30, desc="the recording ended by the unplug")
    pulled = [f for f in glob.glob(os.path.dirname(first) + "/*.mp4") if f != first]
    media = subprocess.run(["gst-discoverer-1.0", *pulled[:1]], capture_output=True, text=True).stdout
    length = re.search(r"Duration: (\d+):(\d+):([\d.]+)", media)
    seconds = int(length[1]) * 3600 + int(length[2]) * 60 + float(length[3]) if length else 0
    print("recording at the unplug: %.1f s; %s" % (seconds, qd.name(status)))
    if len(pulled) != 1 or seconds < 2:  # it plays up to about the unplug
        failures.append("recording at the unplug: %s, %.1f s" % (qd.name(status), seconds))
    time.sleep(3)
    qd.wait_until(lambda: not held_vanished_nodes(app.pid), 10, desc="the vanished node let go")
    with open("/sys/bus/platform/drivers/vivid/bind", "w") as bind:
        bind.write("vivid.0")
    qd.wait_until(lambda: qd.name(badge) == LIVE, 90, desc="the picture after the replug")
    settles(badge, status, shots)
    qd.set_value(app.find(role="spin button", label="亮度", timeout=30), 77)
    qd.wait_until(lambda: driver("brightness") == 77, 10, desc="brightness 77 on the new device")

if printed := open(console.name, errors="replace").read():
    failures.append("the program wrote to the console:\n" + printed[:2000])
print("\n".join(failures) or "ok")
sys.exit(1 if failures else 0)
