#!/usr/bin/env python3
"""Draws the table of growth that bench/following only=growth prints.

Usage: bench/following only=growth | bench/growth_plot.py > docs/growth.svg
"""
import html
import sys

WIDTH, HEIGHT, MARGIN = 260, 200, 44


def read(lines):
    """What grows -> pairs of size and milliseconds."""
    curves = {}
    for line in lines:
        cells = [cell.strip() for cell in line.split("|")[1:-1]]
        if len(cells) != 3:
            continue
        try:
            pair = float(cells[1]), float(cells[2])
        except ValueError:
            continue  # the head
        curves.setdefault(cells[0], []).append(pair)
    if not curves:
        sys.exit("growth_plot.py: no table of growth on standard input")
    return curves


def panel(name, pairs, left):
    most_x, most_y = (1.05 * max(values) for values in zip(*pairs))
    places = [
        (left + MARGIN + x / most_x * WIDTH, MARGIN + HEIGHT - y / most_y * HEIGHT)
        for x, y in pairs
    ]
    x0, y0 = left + MARGIN, MARGIN + HEIGHT
    out = [f'<path d="M{x0} {MARGIN}V{y0}H{x0 + WIDTH}" fill="none" stroke="#888"/>']
    line = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
    out.append(f'<polyline points="{line}" fill="none" stroke="#06c" stroke-width="2"/>')
    for (x, y), (size, ms) in zip(places, pairs):
        out.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="#06c"/>')
        out.append(f'<text x="{x:.1f}" y="{y - 7:.1f}" text-anchor="middle">{ms:.2f}</text>')
        out.append(f'<text x="{x:.1f}" y="{y0 + 14}" text-anchor="middle">{size:g}</text>')
    out.append(f'<text x="{x0 + WIDTH / 2}" y="{y0 + 32}" text-anchor="middle">'
               f"{html.escape(name)}</text>")
    out.append(f'<text x="{x0}" y="{MARGIN - 12}">ms a frame</text>')
    return "\n".join(out)


def main():
    curves = read(sys.stdin)
    step = WIDTH + 2 * MARGIN
    width, height = step * len(curves), HEIGHT + 2 * MARGIN
    print(f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
          f'viewBox="0 0 {width} {height}" font-family="sans-serif" font-size="10">')
    print(f'<rect width="{width}" height="{height}" fill="white"/>')
    for i, (name, pairs) in enumerate(curves.items()):
        print(panel(name, pairs, i * step))
    print("</svg>")


main()
