"""Pictures with labelled boxes in them, so that one can look at what was recognised."""

import cairo

LINE_COLOUR = (0.85, 0.0, 0.25)
LABEL_COLOUR = (1.0, 1.0, 0.75)


def draw_boxes(source, target, boxes):
    """Copies a PNG file with boxes drawn into it. `boxes`: pairs of a rectangle (x, y, width and height in pixels) and
    the text to write above it."""
    picture = cairo.ImageSurface.create_from_png(source)
    context = cairo.Context(picture)
    context.select_font_face("DejaVu Sans")
    context.set_font_size(9)
    context.set_line_width(1)
    for box, label in boxes:
        x, y, width, height = box["x"], box["y"], box["width"], box["height"]
        context.set_source_rgb(*LINE_COLOUR)
        context.rectangle(round(x) - 0.5, round(y) - 0.5, round(width) + 1, round(height) + 1)
        context.stroke()
        extents = context.text_extents(label)
        context.set_source_rgb(*LABEL_COLOUR)
        context.rectangle(x, y - 9, extents.x_advance + 2, 9)
        context.fill()
        context.set_source_rgb(*LINE_COLOUR)
        context.move_to(x + 1, y - 2)
        context.show_text(label)
    picture.write_to_png(target)
