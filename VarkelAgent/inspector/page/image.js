// The image of the screen, with frames over it.

/// Colours come from the style sheet, so that they follow light and dark.
function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
}

export class ImageView {
  /// `events`: pick(x, y) and hover(x, y) in pixels of the desktop, leave().
  constructor(box, events) {
    [this.base, this.over] = box.querySelectorAll("canvas");
    this.area = null;
    this.items = [];
    this.marked = [];
    this.found = [];
    this.selected = null;
    this.hovered = null;
    this.showsFrames = true;
    const place = (event) => {
      const {left, top, width, height} = this.over.getBoundingClientRect();
      const {area} = this;
      return [area.x + (event.clientX - left) * area.width / width,
        area.y + (event.clientY - top) * area.height / height];
    };
    this.over.addEventListener("click", (event) => this.area && events.pick(...place(event)));
    this.over.addEventListener("mousemove", (event) => this.area && events.hover(...place(event)));
    this.over.addEventListener("mouseleave", () => events.leave());
    new ResizeObserver(() => this.scheduleDraw()).observe(this.base);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.scheduleDraw());
  }

  async setImage(blob, area) {
    const bitmap = await createImageBitmap(blob);
    this.base.width = bitmap.width;
    this.base.height = bitmap.height;
    this.base.getContext("2d").drawImage(bitmap, 0, 0);
    bitmap.close();
    this.area = area;
    this.scheduleDraw();
  }

  /// Some of items, marked, found, selected, hovered, showsFrames. `found`: frames of recognised texts.
  show(what) {
    Object.assign(this, what);
    this.scheduleDraw();
  }

  scheduleDraw() {
    if (this.scheduled) return;
    this.scheduled = requestAnimationFrame(() => {
      this.scheduled = 0;
      if (this.area) this.draw();
    });
  }

  draw() {
    const density = window.devicePixelRatio || 1;
    const width = Math.round(this.base.clientWidth * density);
    const height = Math.round(this.base.clientHeight * density);
    this.over.width = width;
    this.over.height = height;
    const context = this.over.getContext("2d");
    const scale = width / this.area.width;
    const outline = (frames, name, line, fill) => {
      context.beginPath();
      for (const frame of frames) {
        if (!frame) continue;
        context.rect((frame.x - this.area.x) * scale, (frame.y - this.area.y) * scale, frame.width * scale,
          frame.height * scale);
      }
      context.lineWidth = line * density;
      context.strokeStyle = colour(name);
      context.stroke();
      if (!fill) return;
      context.globalAlpha = 0.2;
      context.fillStyle = colour(name);
      context.fill();
      context.globalAlpha = 1;
    };
    const framesOf = (items) => items.map((item) => item && item.element.frame);
    if (this.showsFrames) outline(framesOf(this.items), "frame", 0.5);
    outline(this.found, "found", 1.5, true);
    outline(framesOf(this.marked), "marked", 2);
    outline(framesOf([this.hovered]), "hovered", 1.5, true);
    outline(framesOf([this.selected]), "selected", 3, true);
  }
}
