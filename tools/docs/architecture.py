#!/usr/bin/env python3
"""Draws docs/images/architecture.svg: the folders in layers, what may include what pointing downwards."""

import os

INK, SOFT, LINE, ACCENT, PAPER = "#13201C", "#4A5853", "#84918B", "#00736A", "#FFFFFF"
WIDTH, HEIGHT = 940, 516
MAIN = 640  # width of the layers; adapters stand to the right
ROW, GAP, LEFT, TOP = 74, 22, 24, 24

LAYERS = [
    ("programs", [("tolvik-desktop", "app, ui"), ("tolvik", "cli"), ("tolvik-speech", "child process")]),
    ("shared", [("services", "the open log"), ("commands", "one request, one answer")]),
    ("features", [("voice/parse", "what it means"), ("voice/capture", "hold, speak, let go"),
                  ("voice/hearing", "what was heard"), ("dictionary", "words"), ("sync", "the queue")]),
    ("core", [("core", "records, the store, the day; ports: value store, mutation sink")]),
    ("base", [("base", "instants, days, identifiers, text, JSON; ports: clock, main loop, workers")]),
]
ADAPTERS = ["sqlite", "speech", "embedding", "x11", "pulse", "mpris", "audiofile", "socket", "system", "asio",
            "qt (Qt)", "desktop (Qt)"]


def box(x, y, width, height, title, under, fill=PAPER, edge=LINE):
    middle = x + width / 2
    parts = [f'<rect x="{x}" y="{y}" width="{width}" height="{height}" rx="8" fill="{fill}" stroke="{edge}"/>',
             f'<text x="{middle}" y="{y + height / 2 - 3}" class="name">{title}</text>',
             f'<text x="{middle}" y="{y + height / 2 + 15}" class="under">{under}</text>']
    return "\n".join(parts)


def arrow(x1, y1, x2, y2):
    return f'<line x1="{x1}" y1="{y1}" x2="{x2}" y2="{y2}" stroke="{ACCENT}" stroke-width="1.5" marker-end="url(#tip)"/>'


def draw():
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="Inter, sans-serif">',
           "<title>The folders of Tolvik in layers</title>",
           f'<style>.name{{font-size:14px;font-weight:600;fill:{INK};text-anchor:middle}}'
           f".under{{font-size:11px;fill:{SOFT};text-anchor:middle}}"
           f".note{{font-size:11px;fill:{ACCENT};text-anchor:middle}}</style>",
           f'<marker id="tip" markerWidth="8" markerHeight="8" refX="7" refY="4" orient="auto">'
           f'<path d="M0,0 L8,4 L0,8 z" fill="{ACCENT}"/></marker>',
           f'<rect width="{WIDTH}" height="{HEIGHT}" fill="{PAPER}"/>']
    y = TOP
    for number, (name, cells) in enumerate(LAYERS):
        each = (MAIN - 10 * (len(cells) - 1)) / len(cells)
        for index, (title, under) in enumerate(cells):
            fill = "#E8F5F2" if name in ("core", "programs") else PAPER
            out.append(box(LEFT + index * (each + 10), y, each, ROW, title, under, fill))
        if number + 1 < len(LAYERS):
            out.append(arrow(LEFT + MAIN / 2, y + ROW, LEFT + MAIN / 2, y + ROW + GAP))
        y += ROW + GAP
    bottom = y - GAP
    x, width = LEFT + MAIN + 60, WIDTH - LEFT - MAIN - 60 - 24
    top = TOP + ROW + GAP
    out.append(f'<rect x="{x}" y="{top}" width="{width}" height="{bottom - top}" rx="8" fill="#F1F4F2" stroke="{LINE}"/>')
    out.append(f'<text x="{x + width / 2}" y="{top + 24}" class="name">adapters</text>')
    out.append(f'<text x="{x + width / 2}" y="{top + 41}" class="under">one folder a technology</text>')
    for index, name in enumerate(ADAPTERS):
        out.append(f'<text x="{x + width * (0.27 if index % 2 == 0 else 0.74)}" y="{top + 80 + index // 2 * 34}" '
                   f'class="under">{name}</text>')
    out.append(arrow(x + width / 2, TOP + ROW, x + width / 2, top))
    out.append(f'<path d="M{LEFT + MAIN} {TOP + ROW / 2} H{x + width / 2} V{TOP + ROW}" fill="none" stroke="{ACCENT}" '
               'stroke-width="1.5"/>')
    out.append(f'<text x="{x + width / 2 - 60}" y="{TOP + ROW / 2 - 8}" class="note">only compositions know adapters</text>')
    for row in (2, 3, 4):
        middle = TOP + row * (ROW + GAP) + ROW / 2
        out.append(arrow(x, middle, LEFT + MAIN + 2, middle))
    out.append(f'<text x="{LEFT + MAIN + 31}" y="{TOP + 2 * (ROW + GAP) + ROW / 2 - 8}" class="note">ports</text>')
    out.append("</svg>")
    return "\n".join(out) + "\n"


if __name__ == "__main__":
    here = os.path.dirname(os.path.abspath(__file__))
    with open(os.path.join(here, "..", "..", "docs", "images", "architecture.svg"), "w", encoding="utf-8") as file:
        file.write(draw())
