#!/usr/bin/env python3
"""Draws pictures of text with their truth, as score.py reads it.

usage: draw.py screens FIRST COUNT OUT_DIR
       draw.py sizes OUT_DIR [SIZE...]

`screens` draws screens at random, one for each seed from FIRST. `sizes` draws eight plain lines in ten fonts, dark on
light and light on dark, for each size of letters in pixels.
"""
import functools, pathlib, random, sys

import texts
from canvas import BLACK, WHITE, Canvas, coloured, contrast, font_families, mixed

SANS = ('DejaVu Sans', 'Liberation Sans', 'Nimbus Sans', 'FreeSans', 'Cantarell', 'Roboto', 'Open Sans', 'Lato', 'Inter',
        'Carlito', 'PT Sans', 'Oxygen-Sans', 'Quicksand Medium', 'URW Gothic', 'Roboto Condensed')
SERIF = ('DejaVu Serif', 'Liberation Serif', 'FreeSerif', 'Caladea', 'PT Serif', 'EB Garamond', 'Linux Libertine O',
         'URW Bookman', 'P052', 'Roboto Slab')
MONO = ('DejaVu Sans Mono', 'Liberation Mono', 'Hack', 'Fira Code', 'JetBrains Mono', 'Inconsolata', 'PT Mono',
        'Nimbus Mono PS', 'Courier Prime')
SCALES = (1, 1, 1, 1.25, 1.5, 2, 2, 3)

PLAIN_FONTS = ('DejaVu Sans', 'DejaVu Sans Bold', 'DejaVu Sans ExtraLight', 'DejaVu Serif', 'DejaVu Sans Mono',
               'Liberation Serif Italic', 'Liberation Sans', 'Roboto Light', 'Open Sans Bold', 'Cantarell')
PLAIN_LINES = ('Large canvas text', 'Alpha seven', 'Save the changes?', 'Quarterly report 2024', 'Total: 1,249.50',
               'Go to page 36 of 80', 'Disk is 92% full', 'Why do jars fizz?')
PLAIN_SIZES = (8, 10, 12, 14, 18, 24, 32, 40, 48, 60, 72, 96, 144)


class Theme:
    def __init__(self, rng):
        self.dark = rng.random() < 0.45
        tint = coloured(rng, 0.4, 0.6)
        self.ground = mixed(BLACK if self.dark else WHITE, tint, rng.uniform(0, 0.15))
        self.card = mixed(self.ground, WHITE, rng.uniform(0.04, 0.1) if self.dark else rng.uniform(0.5, 1))
        self.accent = coloured(rng, 0.3, 0.6)
        self.line = mixed(self.ground, WHITE if self.dark else BLACK, rng.uniform(0.1, 0.35))
        self.ink = readable(rng, self.card, 7)
        self.dim = readable(rng, self.card, 3.5, 6)
        self.font = rng.choice(SANS) if rng.random() < 0.75 else rng.choice(SERIF)
        self.heading = self.font if rng.random() < 0.6 else rng.choice(SANS + SERIF)
        self.mono = rng.choice(MONO)
        self.size = rng.choice((11, 12, 13, 13, 14, 14, 15, 16))
        self.radius = rng.choice((0, 0, 3, 5, 8))


def readable(rng, ground, least, most=22):
    """An ink that stands out from the ground this much: grey mostly, coloured at times."""
    for _ in range(200):
        ink = (rng.random(),) * 3 if rng.random() < 0.7 else coloured(rng, 0, 1)
        if least <= contrast(ink, ground) <= most:
            return ink
    return max((BLACK, WHITE), key=lambda one: contrast(one, ground))


def weighted(rng, font):
    return font + rng.choice(('', '', '', '', ' Bold', ' Italic', ' Light', ' Semi-Bold'))


class Panel:
    """A part of a screen that one layout fills."""

    def __init__(self, canvas, theme, x, y, width, height):
        self.c, self.t, self.rng = canvas, theme, canvas.rng
        self.x, self.y, self.width, self.height = x, y, width, height

    def left(self, by=0):
        """How much room is below y."""
        return self.y + self.height - by

    def text(self, text, x, y, font=None, size=None, ink=None, line=None):
        return self.c.write(text, x, y, font or self.t.font, size or self.t.size, ink or self.t.ink, line)

    def wide(self, text, font=None, size=None):
        return self.c.size_of(text, font or self.t.font, size or self.t.size)[0]

    def high(self, size=None, font=None):
        return self.c.size_of('Ag', font or self.t.font, size or self.t.size)[1]

    def wrapped(self, text, x, y, width, font=None, size=None, ink=None):
        """Draws a text in lines; the y below them."""
        high = self.high(size, font) * 1.15
        line = []
        for word in text.split() + [None]:
            if word is None or (line and self.wide(' '.join([*line, word]), font, size) > width):
                self.text(' '.join(line), x, y, font, size, ink)
                y += high
                line = []
            line.append(word)
        return y

    def button(self, text, x, y, primary=False):
        """Its width."""
        size, pad, icon = self.t.size, self.t.size * 0.9, self.rng.random() < 0.3
        width = self.wide(text) + 2 * pad + icon * 1.6 * size
        height = self.high() + self.rng.uniform(0.5, 1) * size
        ground = self.t.accent if primary else mixed(self.t.card, self.t.line, 0.3)
        ink = readable(self.rng, ground, 4.5)
        if self.rng.random() < 0.3:
            self.c.gradient(x, y, width, height, ground, mixed(ground, BLACK, 0.12), self.t.radius)
        else:
            self.c.fill(x, y, width, height, ground, self.t.radius)
        if not primary or self.rng.random() < 0.5:
            self.c.frame(x, y, width, height, self.t.line, self.t.radius)
        if icon:
            self.c.icon(x + pad, y + height / 2 - size * 0.55, size * 1.1, ink)
        self.text(text, x + pad + icon * 1.6 * size, y + (height - self.high()) / 2, ink=ink)
        return width

    def label(self):
        return self.rng.choice(texts.LABELS)

    def scrollbar(self):
        x, long = self.x + self.width - 9, self.rng.uniform(0.1, 0.5) * self.height
        self.c.fill(x, self.y, 9, self.height, mixed(self.t.ground, self.t.line, 0.4))
        self.c.fill(x + 2, self.y + self.rng.uniform(0, self.height - long), 5, long, self.t.line, 3)
        self.c.area = (self.x, self.y, self.width - 12, self.height)


def form(p):
    rng, c, t = p.rng, p.c, p.t
    y, row = p.y + 12, p.high() * 2.1
    x = p.x + 20
    entry = x + p.width * 0.36
    while y < p.left(3 * row):
        kind = rng.choice(('entry', 'entry', 'check', 'radio', 'switch', 'group', 'slider', 'combo'))
        box = p.high() * 0.85
        if kind in ('entry', 'combo'):
            p.text(p.label() + rng.choice(('', ':')), x, y + row * 0.2)
            c.fill(entry, y, p.width * 0.5, row * 0.8, t.card, t.radius)
            c.frame(entry, y, p.width * 0.5, row * 0.8, t.accent if rng.random() < 0.2 else t.line, t.radius)
            p.text(texts.cell(rng), entry + 8, y + row * 0.4 - p.high() / 2, ink=readable(rng, t.card, 4.5))
            if kind == 'combo':
                c.icon(entry + p.width * 0.5 - 22, y + row * 0.4 - 7, 14, t.dim)
        elif kind in ('check', 'radio'):
            for _ in range(rng.randint(1, 3)):
                top = y + (p.high() - box) / 2
                radius = box / 2 if kind == 'radio' else min(t.radius, 3)
                on = rng.random() < 0.5
                c.fill(x, top, box, box, t.accent if on else t.card, radius)
                c.frame(x, top, box, box, t.line if not on else t.accent, radius)
                if on and kind == 'radio':
                    c.fill(x + box * 0.3, top + box * 0.3, box * 0.4, box * 0.4, WHITE, box)
                elif on:
                    c.icon(x + box * 0.1, top + box * 0.1, box * 0.8, readable(rng, t.accent, 3))
                p.text(p.label(), x + box + 7, y)
                y += row * 0.7
        elif kind == 'switch':
            p.text(p.label(), x, y)
            on = rng.random() < 0.5
            c.fill(entry, y, box * 1.9, box, t.accent if on else t.line, box)
            c.fill(entry + (box if on else 1), y + 1, box - 2, box - 2, WHITE, box)
        elif kind == 'slider':
            p.text(p.label(), x, y)
            c.fill(entry, y + box / 2, p.width * 0.4, 3, t.line, 2)
            c.fill(entry + p.width * rng.uniform(0, 0.35), y + box / 2 - 6, 14, 14, t.accent, 7)
        elif kind == 'group' and p.width > 300:
            title, high = p.label(), row * 2.2
            c.frame(x - 8, y + p.high() / 2, p.width - 30, high, t.line, t.radius)
            c.fill(x + 2, y, p.wide(title) + 10, p.high(), t.ground)
            p.text(title, x + 7, y)
            p.text(p.label(), x + 10, y + row)
            p.text(texts.number(rng), entry, y + row)
            y += high
        y += row
    x = p.x + 20
    for i in range(rng.randint(1, 3)):
        x += p.button(p.label(), x, p.left(2 * row), i == 0) + 12


def table(p):
    rng, c, t = p.rng, p.c, p.t
    kinds = [rng.choice((lambda: rng.choice(texts.NAMES), lambda: texts.number(rng), lambda: texts.date(rng),
                         lambda: texts.file(rng), lambda: texts.size(rng), lambda: texts.price(rng),
                         lambda: texts.phone(rng), lambda: texts.mail(rng), lambda: texts.cell(rng)))
             for _ in range(rng.randint(2, 6))]
    row = p.high() * rng.uniform(1.2, 1.9)
    count = int((p.height - row) // row)
    cells = [[p.label() for _ in kinds]] + [[kind() for kind in kinds] for _ in range(count - 1)]
    widths = [max(p.wide(line[i]) for line in cells) + 2.4 * t.size for i in range(len(kinds))]
    right = [rng.random() < 0.3 for _ in kinds]
    grid, zebra, chosen = rng.random() < 0.4, rng.random() < 0.4, rng.randint(1, max(1, count))
    for k, line in enumerate(cells):
        x, y = p.x + 6, p.y + 4 + k * row
        ground, ink, font = t.card, t.ink, t.font
        if k == 0:
            ground, font = mixed(t.card, t.line, 0.3), t.font + rng.choice((' Bold', ''))
        elif k == chosen:
            ground = t.accent
        elif zebra and k % 2:
            ground = mixed(t.card, t.line, 0.15)
        if ground != t.card:
            ink = readable(rng, ground, 5)
        c.fill(p.x, y, p.width, row, ground)
        for i, value in enumerate(line):
            wide = p.wide(value, font)
            p.text(value, x + (widths[i] - wide - 1.2 * t.size if right[i] else 0), y + (row - p.high()) / 2, font, ink=ink)
            x += widths[i]
            if grid:
                c.fill(x - 0.6 * t.size, y, 1, row, t.line)
        if grid:
            c.fill(p.x, y, p.width, 1, t.line)


def spreadsheet(p):
    rng, c, t = p.rng, p.c, p.t
    row, wide = p.high() * 1.45, t.size * rng.uniform(7, 10)
    head = mixed(t.card, t.line, 0.35)
    c.fill(p.x, p.y, p.width, p.height, t.card)
    c.fill(p.x, p.y, p.width, row, head)
    c.fill(p.x, p.y, 3 * t.size, p.height, head)
    for k in range(int(p.height // row)):
        y = p.y + k * row
        c.fill(p.x, y, p.width, 1, t.line)
        if k:
            p.text(str(k), p.x + 2.6 * t.size - p.wide(str(k)), y + (row - p.high()) / 2, ink=readable(rng, head, 5))
        for i in range(int((p.width - 3 * t.size) // wide) + 1):
            x = p.x + 3 * t.size + i * wide
            if k == 0:
                c.fill(x, p.y, 1, p.height, t.line)
                letter = chr(ord('A') + i)
                p.text(letter, x + (wide - p.wide(letter)) / 2, y + (row - p.high()) / 2, ink=readable(rng, head, 5))
            elif rng.random() < 0.6:
                value = texts.number(rng) if rng.random() < 0.7 else texts.cell(rng)
                if p.wide(value) < wide - 0.9 * t.size:
                    p.text(value, x + 4 if rng.random() < 0.5 else x + wide - p.wide(value) - 4,
                           y + (row - p.high()) / 2)


def chat(p):
    rng, c, t = p.rng, p.c, p.t
    y = p.y + 10
    while y < p.left(6 * p.high()):
        mine, avatar = rng.random() < 0.4, p.high() * 1.9
        width = p.width * rng.uniform(0.4, 0.62)
        text = ' '.join(rng.sample(texts.SENTENCES, rng.randint(1, 2)))
        ground = t.accent if mine else mixed(t.card, t.line, 0.2)
        ink = readable(rng, ground, 4.5)
        x = p.x + p.width - width - 16 if mine else p.x + 20 + avatar
        name = rng.choice(texts.NAMES)
        if not mine:
            round_ = coloured(rng, 0.3, 0.6)
            c.fill(p.x + 10, y, avatar, avatar, round_, avatar)
            c.icon(p.x + 10 + avatar / 4, y + avatar / 4, avatar / 2, readable(rng, round_, 4))
            p.text(name, x, y, t.font + ' Bold', ink=t.dim)
            y += p.high() * 1.2
        lines = []
        for word in text.split():
            if lines and p.wide(f'{lines[-1]} {word}') < width - 20:
                lines[-1] += f' {word}'
            else:
                lines.append(word)
        high = len(lines) * p.high() * 1.15
        c.fill(x, y, max(p.wide(line) for line in lines) + 24, high + 14, ground, 10)
        for i, line in enumerate(lines):
            p.text(line, x + 12, y + 7 + i * p.high() * 1.15, ink=ink)
        y += high + 18
        p.text(texts.time(rng), x + 4, y, size=t.size * 0.85, ink=t.dim)
        y += p.high() * 1.6


def editor(p, terminal=False):
    rng, c, t = p.rng, p.c, p.t
    size = t.size * rng.choice((1, 1, 1, 1.5))
    row = p.high(size, t.mono) * rng.uniform(1, 1.2)
    ground = mixed(rng.choice((BLACK, WHITE)), t.accent, rng.uniform(0, 0.1))
    c.fill(p.x, p.y, p.width, p.height, ground)
    inks = [readable(rng, ground, 5) for _ in range(4)]
    margin = 8 if terminal else p.wide('0000', t.mono, size) + 14
    first = rng.randint(1, 900)
    prompt = f'{rng.choice(texts.WORDS)}@host:~$ '
    bottom = 0 if terminal else row * 1.4
    indent, column = 0, p.wide('0', t.mono, size)
    for k in range(int((p.height - bottom - 4) // row)):
        y = p.y + 2 + k * row
        if not terminal:
            line = str(first + k)
            p.text(line, p.x + margin - 12 - p.wide(line, t.mono, size), y, t.mono, size, readable(rng, ground, 3.5, 5))
        if rng.random() < 0.12:
            continue
        indent = max(0, min(3, indent + rng.choice((-1, 0, 0, 1))))
        text = texts.command(rng) if terminal else texts.code(rng)
        if terminal and rng.random() < 0.4:
            text = prompt + text
        p.text(text, p.x + margin + (0 if terminal else 4 * indent * column), y, t.mono, size, rng.choice(inks))
    if not terminal:
        y = p.left(bottom)
        c.fill(p.x, y, p.width, bottom, t.accent)
        ink, x = readable(rng, t.accent, 4.5), p.x + 10
        for word in (f'Ln {rng.randint(1, 900)}, Col {rng.randint(1, 80)}', 'UTF-8', f'Spaces: {rng.choice((2, 4, 8))}'):
            x += p.text(word, x, y + (bottom - p.high()) / 2, ink=ink) + 2.5 * t.size


def terminal(p):
    editor(p, True)


def toolbar(p):
    rng, c, t = p.rng, p.c, p.t
    x, y, row = p.x + 10, p.y + 4, p.high() * 1.6
    for word in rng.sample(('File', 'Edit', 'View', 'Insert', 'Format', 'Tools', 'Window', 'Help'), 6):
        x += p.text(word, x, y) + 1.8 * t.size
    y += row
    c.fill(p.x, y - 3, p.width, 1, t.line)
    icon = rng.uniform(1.2, 2) * t.size
    x = p.x + 10
    while x < p.x + p.width - 2 * icon:
        c.icon(x, y, icon, rng.choice((t.ink, t.ink, t.accent)))
        x += icon * 1.6
    y += icon + 8
    x, step = p.x + 8, 7 * t.size
    while x < p.x + p.width - step:
        name = p.label().split()[0]
        c.icon(x + step / 2 - icon / 2, y, icon, t.ink)
        p.text(name, x + step / 2 - p.wide(name, size=t.size * 0.85) / 2, y + icon + 3, size=t.size * 0.85)
        x += step
    y += icon + row
    c.fill(p.x, y, p.width, 1, t.line)
    y += 8
    while y < p.left(row):
        c.icon(p.x + 12, y, p.high() * 0.9, t.accent)
        p.text(rng.choice((texts.file, texts.cell))(rng), p.x + 12 + p.high() * 0.9 + 8, y)
        if p.width > 420:
            p.text(texts.size(rng), p.x + p.width * 0.62, y, ink=t.dim)
        y += row


def dialog(p):
    rng, c, t = p.rng, p.c, p.t
    c.photograph(p.x, p.y, p.width, p.height)
    width, height = p.width * rng.uniform(0.6, 0.85), min(p.height * 0.8, 15 * p.high())
    x, y = p.x + (p.width - width) / 2, p.y + (p.height - height) / 2
    for i in range(6, 0, -1):
        c.fill(x - i, y - i + 3, width + 2 * i, height + 2 * i, BLACK, t.radius + i, 0.06)
    c.fill(x, y, width, height, t.card, t.radius)
    bar = p.high() * 1.8
    c.gradient(x, y, width, bar, mixed(t.card, t.line, 0.3), mixed(t.card, t.line, 0.5), t.radius)
    title = rng.choice(texts.TITLES)
    p.text(title, x + (width - p.wide(title, t.font + ' Bold')) / 2, y + (bar - p.high()) / 2, t.font + ' Bold',
           ink=readable(rng, mixed(t.card, t.line, 0.4), 5))
    for i in range(3):
        c.icon(x + width - (i + 1) * bar * 0.8, y + bar * 0.3, bar * 0.4, t.ink)
    c.icon(x + 20, y + bar + 20, p.high() * 2.4, t.accent)
    left = x + 36 + p.high() * 2.4
    top = p.wrapped(rng.choice(texts.SENTENCES), left, y + bar + 16, width - 80 - p.high() * 2.4, t.heading + ' Bold',
                    t.size * 1.15)
    p.wrapped(rng.choice(texts.SENTENCES), left, top + 8, width - 80 - p.high() * 2.4)
    at = x + width - 16
    for i in range(rng.randint(1, 3)):
        name = p.label()
        at -= p.wide(name) + 4.4 * t.size
        if at > x + 10:
            p.button(name, at, y + height - p.high() * 2.6, i == 0)


def desktop(p):
    rng, c, t = p.rng, p.c, p.t
    c.photograph(p.x, p.y, p.width, p.height)
    step = 9 * t.size
    x = p.x + 6
    while x < p.x + p.width - step:
        y = p.y + 14
        while y < p.left(step) and rng.random() < 0.85:
            ground = coloured(rng, 0.3, 0.6)
            c.fill(x + step / 2 - 20, y, 40, 40, ground, 7)
            c.icon(x + step / 2 - 12, y + 8, 24, readable(rng, ground, 4))
            name = rng.choice((texts.file(rng), p.label()))
            at = x + step / 2 - p.wide(name) / 2
            kept = len(c.truth)
            if p.text(name, at + 1, y + 45, ink=BLACK):
                del c.truth[kept:]
                p.text(name, at, y + 44, ink=WHITE)
            y += step
        x += step


def web(p):
    rng, c, t = p.rng, p.c, p.t
    c.fill(p.x, p.y, p.width, p.height, t.card)
    x, y = p.x + 20, p.y + 10
    for word in rng.sample(texts.LABELS, 5):
        x += p.text(word, x, y, ink=t.accent if contrast(t.accent, t.card) > 4 else t.ink,
                    line='under' if rng.random() < 0.3 else None) + 2 * t.size
    x, y = p.x + 20, y + p.high() * 1.8
    hero, big = p.height * rng.uniform(0.2, 0.35), t.size * rng.uniform(2, 4.5)
    if rng.random() < 0.7:
        c.photograph(p.x, y, p.width, hero)
        if rng.random() < 0.6:
            c.fill(p.x, y, p.width, hero, BLACK, alpha=rng.uniform(0.2, 0.5))
        ink = WHITE
    else:
        first = coloured(rng, 0.25, 0.4)
        c.gradient(p.x, y, p.width, hero, first, coloured(rng, 0.2, 0.4))
        ink = WHITE
    p.text(rng.choice(texts.TITLES), x, y + hero * 0.2, t.heading + ' Bold', big, ink)
    if hero * 0.8 > big * 1.5 + p.high():
        p.text(rng.choice(texts.SENTENCES), x, y + hero * 0.2 + big * 1.5, t.font, t.size * 1.2, ink)
    y += hero + 12
    p.text(rng.choice(texts.TITLES), x, y, t.heading + rng.choice((' Bold', '')), t.size * 1.9)
    y += p.high(t.size * 1.9) * 1.3
    while y < p.left(7 * p.high()):
        if rng.random() < 0.6:
            y = p.wrapped(' '.join(rng.sample(texts.SENTENCES, 3)), x, y, p.width - 60, weighted(rng, t.font)) + 8
            continue
        name = p.label()
        p.text(name, x, y, t.font + ' Bold', t.size * 1.2)
        y += p.high(t.size * 1.2) * 1.2
        wide = p.text(texts.price(rng), x, y, ink=t.dim, line='through')
        p.text(texts.price(rng), x + wide + 2.6 * t.size, y, t.font + ' Bold')
        y += p.high() * 1.5
        p.button(p.label(), x, y, True)
        y += p.high() * 2.6


def slide(p):
    rng, c, t = p.rng, p.c, p.t
    first = t.card
    if rng.random() < 0.6:
        first = coloured(rng, 0.2, 0.35) if t.dark else coloured(rng, 0.75, 0.92)
        c.gradient(p.x, p.y, p.width, p.height, first, mixed(first, BLACK if t.dark else WHITE, 0.4))
    else:
        c.fill(p.x, p.y, p.width, p.height, first)
    ink, x = readable(rng, first, 6), p.x + p.width * 0.06
    y, size = p.y + p.height * 0.06, p.height * rng.uniform(0.06, 0.16)
    title = rng.choice(texts.TITLES)
    size = min(size, 0.85 * p.width / p.wide(title, t.heading, 1))
    p.text(title, x, y, weighted(rng, t.heading), size, ink)
    y += p.high(size, t.heading) * 1.3
    small = max(t.size, size * rng.uniform(0.4, 0.6))
    while y < p.left(p.high(small) * 1.5):
        text = rng.choice(texts.SENTENCES + texts.TITLES + texts.LABELS)
        if p.wide(text, size=small) < p.width * 0.8:
            p.text(text, x, y, size=small, ink=ink)
        y += p.high(small) * 1.45


LAYOUTS = (form, table, spreadsheet, chat, editor, terminal, toolbar, dialog, desktop, web, web, slide, slide)


@functools.cache
def check_fonts():
    missing = {*SANS, *SERIF, *MONO} - font_families()
    if missing:
        raise RuntimeError(f'tools/setup --bench installs these fonts: {", ".join(sorted(missing))}')


def draw_screen(seed, directory):
    """The name of the screen that it draws and its pixels to a point."""
    check_fonts()
    rng = random.Random(seed)
    scale = rng.choice(SCALES)
    # Of the usual size at 100 %, and no larger than a reader of many has patience for at 300 %.
    width, height = {2: (960, 675), 3: (720, 480)}.get(scale, (1280, 900))
    canvas, theme = Canvas(width, height, scale, rng), Theme(rng)
    canvas.fill(0, 0, width, height, theme.ground)
    split = rng.choice((1, rng.uniform(0.35, 0.65))) if width > 800 else 1
    for x, part in ((0, split), (split * width + 1, 1 - split)):
        if part == 0:
            continue
        panel = Panel(canvas, theme, x, 0, part * width - (x > 0), height)
        canvas.area = (panel.x, panel.y, panel.width, panel.height)
        canvas.ctx.save()
        canvas.path(*canvas.area)
        canvas.ctx.clip()
        if rng.random() < 0.3:
            panel.scrollbar()
            panel.width -= 12
        rng.choice(LAYOUTS)(panel)
        canvas.ctx.restore()
        if x:
            canvas.fill(x - 1, 0, 1, height, theme.line)
    name = f'seed{seed:05}'
    canvas.save(directory, name)
    return name, scale


def draw_plain(size, font, dark, directory):
    check_fonts()
    ground, ink = ((0.12, 0.12, 0.14), (0.9, 0.9, 0.9)) if dark else (WHITE, (0.1, 0.1, 0.1))
    canvas = Canvas(14 * size + 2 * size, 8 * 2 * size + size, 1, random.Random(0))
    canvas.fill(0, 0, canvas.width, canvas.height, ground)
    for i, text in enumerate(PLAIN_LINES):
        canvas.write(text, size, size * (2 * i + 0.5), font, size, ink)
    if len(canvas.truth) != len(PLAIN_LINES):
        raise RuntimeError(f'{font} does not fit at {size}')
    canvas.save(directory, f'size{size:03}_{font.lower().replace(" ", "")}_{"dark" if dark else "light"}')


def draw_sizes(directory, sizes=PLAIN_SIZES):
    for size in sizes:
        for font in PLAIN_FONTS:
            for dark in (False, True):
                draw_plain(size, font, dark, directory)


if __name__ == '__main__':
    if len(sys.argv) == 5 and sys.argv[1] == 'screens':
        for seed in range(int(sys.argv[2]), int(sys.argv[2]) + int(sys.argv[3])):
            draw_screen(seed, pathlib.Path(sys.argv[4]))
    elif len(sys.argv) >= 3 and sys.argv[1] == 'sizes':
        draw_sizes(pathlib.Path(sys.argv[2]), [int(size) for size in sys.argv[3:]] or PLAIN_SIZES)
    else:
        sys.exit(__doc__)
