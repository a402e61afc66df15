#!/usr/bin/env python3
"""Reads two Xvfb screens (XWD, 24-bit TrueColor) taken a moment apart and tells whether Tarvelo
shows a live picture: the virtual camera's colour bars in the preview, its noise patch moving
between the two, and the badge in its green "ready" state. Writes the later screen as a PNG so a
person can look at it too.
    package-check-picture.py EARLIER.xwd LATER.xwd OUT.png"""
import struct
import sys
import zlib


def read_xwd(path):
    data = open(path, "rb").read()
    fields = struct.unpack(">25I", data[:100])
    header_size, width, height = fields[0], fields[4], fields[5]
    byte_order, bits_per_pixel, bytes_per_line, ncolors = fields[7], fields[11], fields[12], fields[19]
    if bits_per_pixel != 32:
        raise SystemExit(f"unexpected {bits_per_pixel} bits per pixel")
    start = header_size + 12 * ncolors
    order = "<" if byte_order == 0 else ">"
    rows = []
    for y in range(height):
        line = data[start + y * bytes_per_line:start + y * bytes_per_line + 4 * width]
        values = struct.unpack(f"{order}{width}I", line)
        rows.append([((v >> 16) & 255, (v >> 8) & 255, v & 255) for v in values])
    return width, height, rows


def write_png(path, width, height, rows):
    raw = b"".join(b"\0" + bytes(c for pixel in row for c in pixel) for row in rows)
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n")
        out.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)))
        out.write(chunk(b"IDAT", zlib.compress(raw, 6)))
        out.write(chunk(b"IEND", b""))


def near(pixel, colour, tolerance=40):
    return all(abs(a - b) <= tolerance for a, b in zip(pixel, colour))


def main():
    _, _, earlier = read_xwd(sys.argv[1])
    width, height, rows = read_xwd(sys.argv[2])
    write_png(sys.argv[3], width, height, rows)
    changed = sum(a != b for old, new in zip(earlier, rows) for a, b in zip(old, new))
    # The bars' yellow, cyan and magenta; the badge's "ready" background is #e5f5eb.
    bars = {"yellow": (255, 255, 0), "cyan": (0, 255, 255), "magenta": (235, 0, 235)}
    counts = dict.fromkeys(bars, 0)
    badge = 0
    for row in rows:
        for pixel in row:
            for name, colour in bars.items():
                if near(pixel, colour):
                    counts[name] += 1
            if pixel == (0xE5, 0xF5, 0xEB):
                badge += 1
    print(f"bar pixels {counts}, ready-badge pixels {badge}, pixels changed between screens {changed}")
    return 0 if min(counts.values()) > 2000 and badge > 500 and changed > 1000 else 1


if __name__ == "__main__":
    sys.exit(main())
