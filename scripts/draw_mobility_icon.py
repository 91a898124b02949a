#!/usr/bin/env python3
"""Draws the mobility icon, two homes in step, and writes it as a TIFF picture: draw_mobility_icon.py FILE"""
import struct
import sys
import zlib

SIZE = 64
SAMPLES = 4  # per pixel and direction: soft edges
SCALES = (1, 2)
BLUE, GREEN, GREY = (58, 118, 200), (80, 162, 98), (128, 128, 134)  # to be seen on light and on dark


def house(x, y, left, top, width):
    """Whether a point lies in a house with its roof's left end at (left, top + width / 2)."""
    middle, eaves = left + width / 2, top + width / 2
    in_roof = top <= y <= eaves and abs(x - middle) <= (y - top)
    in_walls = eaves < y <= top + width and abs(x - middle) <= width * 0.36
    in_door = abs(x - middle) <= width * 0.1 and y > top + width * 0.68
    return (in_roof or in_walls) and not in_door


def arrow(x, y, left, right, middle):
    """Whether a point lies in an arrow that points to the right."""
    head = right - 8
    if head <= x <= right:
        return abs(y - middle) <= (right - x) * 0.9
    return left <= x < head and abs(y - middle) <= 2.2


def colour(x, y):
    if house(x, y, 2, 6, 29):
        return BLUE
    if house(x, y, 33, 6, 29):
        return GREEN
    if arrow(x, y, 12, 52, 44) or arrow(SIZE - x, y, 12, 52, 55):
        return GREY
    return None


def pixel(column, row, scale):
    offsets = [(i + 0.5) / SAMPLES for i in range(SAMPLES)]
    found = [c for dy in offsets for dx in offsets if (c := colour((column + dx) / scale, (row + dy) / scale))]
    if not found:
        return bytes(4)
    mixed = [round(sum(c[i] for c in found) / len(found)) for i in range(3)]
    return bytes(mixed + [round(255 * len(found) / SAMPLES**2)])


def page(scale, start):
    """One picture of the file, its pixels at the offset `start`, then its directory, with that directory's offset."""
    size = SIZE * scale
    strip = zlib.compress(b"".join(pixel(x, y, scale) for y in range(size) for x in range(size)), 9)
    strip += b"\0" * (len(strip) % 2)
    short, long = 3, 4
    head = start + len(strip)
    bits_at = head + 2 + 12 * 11 + 4
    entries = [
        (256, short, 1, size), (257, short, 1, size), (258, short, 4, bits_at),
        (259, short, 1, 8),  # deflate
        (262, short, 1, 2),  # red, green, blue
        (273, long, 1, start), (277, short, 1, 4), (278, short, 1, size), (279, long, 1, len(strip)),
        (284, short, 1, 1), (338, short, 1, 2),  # the fourth sample is plain alpha
    ]
    directory = struct.pack("<H", len(entries))
    for tag, kind, count, value in entries:
        directory += struct.pack("<HHII", tag, kind, count, value)
    return strip + directory + struct.pack("<I", 0) + struct.pack("<4H", 8, 8, 8, 8), head


def tiff():
    """The picture for ordinary displays, and one of twice the size for dense ones."""
    pages, heads = [], []
    start = 8
    for scale in SCALES:
        made, head = page(scale, start)
        pages.append(made)
        heads.append(head)
        start += len(made)
    # Each directory ends with the offset of the next one.
    for index, following in enumerate(heads[1:]):
        at = len(pages[index]) - 8 - 4
        pages[index] = pages[index][:at] + struct.pack("<I", following) + pages[index][at + 4:]
    return struct.pack("<2sHI", b"II", 42, heads[0]) + b"".join(pages)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with open(sys.argv[1], "wb") as file:
        file.write(tiff())
