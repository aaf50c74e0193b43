"""A picture with the truth of its lines: draws text, controls, icons and pictures with Pango and Cairo."""
import colorsys, json, math, pathlib

import gi

gi.require_version('Pango', '1.0')
gi.require_version('PangoCairo', '1.0')
import cairo
from gi.repository import Pango, PangoCairo

WHITE, BLACK = (1, 1, 1), (0, 0, 0)


def mixed(a, b, share):
    return tuple(x + (y - x) * share for x, y in zip(a, b))


def luminance(colour):
    linear = [c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4 for c in colour]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(a, b):
    """The ratio that web guidelines ask to be 4.5 or more for text."""
    low, high = sorted((luminance(a), luminance(b)))
    return (high + 0.05) / (low + 0.05)


def coloured(rng, low, high):
    """A colour of random hue and this lightness."""
    return colorsys.hls_to_rgb(rng.random(), rng.uniform(low, high), rng.uniform(0.3, 0.9))


def font_families():
    return {family.get_name() for family in PangoCairo.FontMap.get_default().list_families()}


class Canvas:
    """Coordinates and font sizes are points, of `scale` pixels each."""

    def __init__(self, width, height, scale, rng):
        self.width, self.height, self.scale, self.rng = width, height, scale, rng
        self.surface = cairo.ImageSurface(cairo.FORMAT_RGB24, round(width * scale), round(height * scale))
        self.ctx = cairo.Context(self.surface)
        self.ctx.scale(scale, scale)
        self.truth = []
        self.area = (0, 0, width, height)
        options = cairo.FontOptions()
        options.set_antialias(rng.choice((cairo.ANTIALIAS_GRAY,) * 3 + (cairo.ANTIALIAS_SUBPIXEL,)))
        options.set_hint_style(rng.choice((cairo.HINT_STYLE_NONE, cairo.HINT_STYLE_SLIGHT, cairo.HINT_STYLE_FULL)))
        options.set_hint_metrics(rng.choice((cairo.HINT_METRICS_OFF, cairo.HINT_METRICS_ON)))
        self.options = options

    def layout(self, text, font, size):
        layout = PangoCairo.create_layout(self.ctx)
        PangoCairo.context_set_font_options(layout.get_context(), self.options)
        description = Pango.FontDescription.from_string(font)
        description.set_absolute_size(size * Pango.SCALE)
        layout.set_font_description(description)
        # Ligatures of code fonts draw other characters than the text's.
        attributes = Pango.AttrList()
        attributes.insert(Pango.attr_font_features_new('calt=0,liga=0,dlig=0,clig=0'))
        layout.set_attributes(attributes)
        layout.set_text(text, -1)
        layout.context_changed()
        return layout

    def size_of(self, text, font, size):
        box = self.layout(text, font, size).get_extents()[1]
        return box.width / Pango.SCALE, box.height / Pango.SCALE

    def write(self, text, x, y, font, size, ink, line=None):
        """Draws one line, `line` 'under' or 'through' it if any. Its width, or 0 where it does not fit
        into `area`."""
        layout = self.layout(text, font, size)
        inked, box = layout.get_extents()
        width, height = box.width / Pango.SCALE, box.height / Pango.SCALE
        left, top, wide, high = self.area
        if x < left or y < top or x + width > left + wide or y + height > top + high:
            return 0
        self.ctx.set_source_rgb(*ink)
        self.ctx.move_to(x, y)
        PangoCairo.show_layout(self.ctx, layout)
        self.ctx.new_path()
        if line:
            base = layout.get_baseline() / Pango.SCALE
            at = y + base + (0.12 * size if line == 'under' else -0.27 * size)
            thick = max(1 / self.scale, round(size / 14 * self.scale) / self.scale)
            self.ctx.rectangle(x, round(at * self.scale) / self.scale, width, thick)
            self.ctx.fill()
        self.truth.append({'text': text, 'box': self.pixels(x, y, box), 'ink': self.pixels(x, y, inked)})
        return width

    def pixels(self, x, y, box):
        return [round(v * self.scale, 1) for v in (x + box.x / Pango.SCALE, y + box.y / Pango.SCALE,
                                                   box.width / Pango.SCALE, box.height / Pango.SCALE)]

    def path(self, x, y, width, height, radius=0):
        if radius <= 0:
            self.ctx.rectangle(x, y, width, height)
            return
        radius = min(radius, width / 2, height / 2)
        self.ctx.new_sub_path()
        for i, (cx, cy) in enumerate(((x + width - radius, y + height - radius), (x + radius, y + height - radius),
                                      (x + radius, y + radius), (x + width - radius, y + radius))):
            self.ctx.arc(cx, cy, radius, i * math.pi / 2, (i + 1) * math.pi / 2)
        self.ctx.close_path()

    def fill(self, x, y, width, height, colour, radius=0, alpha=1):
        self.path(x, y, width, height, radius)
        self.ctx.set_source_rgba(*colour, alpha)
        self.ctx.fill()

    def frame(self, x, y, width, height, colour, radius=0, thick=1):
        self.path(x + 0.5, y + 0.5, width - 1, height - 1, radius)
        self.ctx.set_source_rgb(*colour)
        self.ctx.set_line_width(thick)
        self.ctx.stroke()

    def gradient(self, x, y, width, height, first, last, radius=0):
        across = self.rng.random() < 0.5
        pattern = cairo.LinearGradient(x, y, x + width * across, y + height * (not across))
        pattern.add_color_stop_rgb(0, *first)
        pattern.add_color_stop_rgb(1, *last)
        self.path(x, y, width, height, radius)
        self.ctx.set_source(pattern)
        self.ctx.fill()

    def photograph(self, x, y, width, height):
        """Sky, hills, bushes and soft noise: no letters, and colours of all kinds."""
        rng, ctx = self.rng, self.ctx
        ctx.save()
        ctx.rectangle(x, y, width, height)
        ctx.clip()
        self.gradient(x, y, width, height, coloured(rng, 0.2, 0.7), coloured(rng, 0.2, 0.7))
        for k in range(rng.randint(2, 5)):
            ctx.move_to(x, y + height)
            steps = rng.randint(4, 14)
            for i in range(steps + 1):
                ctx.line_to(x + width * i / steps, y + height * rng.uniform(0.2 + 0.15 * k, 0.5 + 0.15 * k))
            ctx.line_to(x + width, y + height)
            ctx.set_source_rgba(*coloured(rng, 0.1, 0.6), rng.uniform(0.4, 1))
            ctx.fill()
        for _ in range(rng.randint(10, 80)):
            ctx.new_path()
            ctx.arc(x + width * rng.random(), y + height * rng.random(), rng.uniform(2, 0.12 * height), 0, 7)
            ctx.set_source_rgba(*coloured(rng, 0.1, 0.7), rng.uniform(0.05, 0.5))
            ctx.fill()
        side = 64
        noise = cairo.ImageSurface.create_for_data(bytearray(rng.randbytes(side * side * 4)), cairo.FORMAT_RGB24, side,
                                                   side)
        ctx.translate(x, y)
        ctx.scale(width / side, height / side)
        ctx.set_source_surface(noise)
        ctx.get_source().set_extend(cairo.EXTEND_PAD)
        ctx.paint_with_alpha(rng.uniform(0.05, 0.2))
        ctx.restore()

    def icon(self, x, y, size, ink):
        """A drawing as on buttons; none of them is a letter."""
        ctx = self.ctx
        ctx.save()
        ctx.translate(x, y)
        ctx.scale(size, size)
        ctx.set_source_rgb(*ink)
        ctx.set_line_width(self.rng.uniform(0.07, 0.13))
        ctx.new_path()
        self.rng.choice(ICONS)(ctx, self.rng)
        ctx.restore()

    def save(self, directory, name):
        for folder in ('images', 'truth'):
            pathlib.Path(directory, folder).mkdir(parents=True, exist_ok=True)
        self.surface.write_to_png(str(pathlib.Path(directory, 'images', f'{name}.png')))
        pathlib.Path(directory, 'truth', f'{name}.json').write_text(json.dumps(self.truth) + '\n')


def lines(*paths, close=False, fill=False):
    def draw(ctx, _):
        for path in paths:
            ctx.move_to(*path[0])
            for point in path[1:]:
                ctx.line_to(*point)
            if close:
                ctx.close_path()
        (ctx.fill if fill else ctx.stroke)()
    return draw


def lens(ctx, _):
    ctx.arc(0.42, 0.42, 0.3, 0, 7)
    ctx.stroke()
    lines(((0.64, 0.64), (0.92, 0.92)))(ctx, _)


def gear(ctx, rng):
    teeth = rng.randint(6, 9)
    for i in range(teeth * 4):
        radius = 0.46 if i % 4 < 2 else 0.34
        angle = i * math.pi / teeth / 2
        ctx.line_to(0.5 + radius * math.cos(angle), 0.5 + radius * math.sin(angle))
    ctx.close_path()
    ctx.new_sub_path()
    ctx.arc(0.5, 0.5, 0.16, 0, 7)
    ctx.set_fill_rule(cairo.FILL_RULE_EVEN_ODD)
    ctx.fill()


def person(ctx, _):
    ctx.arc(0.5, 0.3, 0.2, 0, 7)
    ctx.fill()
    ctx.arc(0.5, 0.95, 0.4, math.pi, 2 * math.pi)
    ctx.fill()


def star(ctx, rng):
    for i in range(10):
        radius = 0.48 if i % 2 == 0 else 0.2
        ctx.line_to(0.5 + radius * math.sin(i * math.pi / 5), 0.52 - radius * math.cos(i * math.pi / 5))
    ctx.close_path()
    (ctx.fill if rng.random() < 0.5 else ctx.stroke)()


def clock(ctx, _):
    ctx.arc(0.5, 0.5, 0.42, 0, 7)
    ctx.stroke()
    lines(((0.5, 0.24), (0.5, 0.5), (0.68, 0.62)))(ctx, _)


ICONS = (
    lens, gear, person, star, clock,
    lines(((0.1, 0.25), (0.4, 0.25), (0.5, 0.36), (0.9, 0.36), (0.9, 0.82), (0.1, 0.82)), close=True),
    lines(((0.1, 0.25), (0.4, 0.25), (0.5, 0.36), (0.9, 0.36), (0.9, 0.82), (0.1, 0.82)), close=True, fill=True),
    lines(((0.08, 0.22), (0.92, 0.22), (0.92, 0.78), (0.08, 0.78), (0.08, 0.22), (0.5, 0.55), (0.92, 0.22))),
    lines(((0.12, 0.5), (0.88, 0.5)), ((0.6, 0.22), (0.88, 0.5), (0.6, 0.78))),
    lines(((0.88, 0.5), (0.12, 0.5)), ((0.4, 0.22), (0.12, 0.5), (0.4, 0.78))),
    lines(((0.15, 0.5), (0.4, 0.75), (0.88, 0.25))),
    lines(((0.2, 0.35), (0.5, 0.65), (0.8, 0.35))),
    lines(((0.25, 0.1), (0.85, 0.5), (0.25, 0.9)), close=True, fill=True),
    lines(((0.1, 0.5), (0.5, 0.12), (0.9, 0.5)), ((0.22, 0.45), (0.22, 0.88), (0.78, 0.88), (0.78, 0.45))),
    lines(((0.22, 0.28), (0.28, 0.92), (0.72, 0.92), (0.78, 0.28)), ((0.1, 0.24), (0.9, 0.24)),
          ((0.38, 0.24), (0.42, 0.1), (0.58, 0.1), (0.62, 0.24))),
    lines(((0.5, 0.1), (0.5, 0.65)), ((0.26, 0.42), (0.5, 0.66), (0.74, 0.42)), ((0.12, 0.88), (0.88, 0.88))),
    lines(((0.1, 0.2), (0.9, 0.2), (0.9, 0.68), (0.45, 0.68), (0.28, 0.9), (0.28, 0.68), (0.1, 0.68)), close=True),
)
