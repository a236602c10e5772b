# SPDX-License-Identifier: LGPL-2.1-or-later
"""Draws the charts of the results, as SVG."""

import math

WIDTH = 760
FONT = 'font-family="sans-serif" font-size="12"'
GOOD, BAD, NEUTRAL = "#2a78b5", "#c0392b", "#888888"


class Drawing:
    """A picture that is described element by element."""

    def __init__(self, width, height, title):
        self.height = height
        self.parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
            f'viewBox="0 0 {width} {height}" {FONT}>',
            f"<title>{title}</title>",
            f'<rect width="{width}" height="{height}" fill="white"/>']
        self.text(10, 20, title, weight="bold")

    def text(self, x, y, text, anchor="start", color="#222222", weight="normal"):
        escaped = text.replace("&", "&amp;").replace("<", "&lt;")
        self.parts.append(f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}" fill="{color}" '
                          f'font-weight="{weight}">{escaped}</text>')

    def line(self, x1, y1, x2, y2, color, width=1.0, dash=""):
        dashes = f' stroke-dasharray="{dash}"' if dash else ""
        self.parts.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" '
                          f'stroke="{color}" stroke-width="{width}"{dashes}/>')

    def dot(self, x, y, color, radius=4):
        self.parts.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="{radius}" fill="{color}"/>')

    def svg(self):
        return "\n".join(self.parts + ["</svg>", ""])


def shares(result):
    """Lower quartile, median and upper quartile as shares of what the target allows."""
    limit = result.target.limit
    if result.target.sense == "least":
        return limit / result.high, limit / result.middle, limit / result.low
    return result.low / limit, result.middle / limit, result.high / limit


def target_chart(results):
    """One line for each result with a target: left of the mark at 1 the target is met."""
    results = [result for result in results if result.target.limit is not None]
    left, right, top, step = 220, WIDTH - 60, 60, 18
    bottom = top + step * len(results)
    most = max(2.0, max(shares(result)[1] for result in results) * 1.1)

    def x(share):
        return left + min(share, most) / most * (right - left)

    drawing = Drawing(WIDTH, bottom + 30, "Measured ratio as a share of what its target allows")
    drawing.text(10, 40, "median and quartiles of the rounds; left of the line: target met")
    ticks = [tick / 2 for tick in range(int(most * 2) + 1)]
    for tick in ticks:
        drawing.line(x(tick), top - 8, x(tick), bottom, "#dddddd")
        drawing.text(x(tick), bottom + 16, f"{tick:g}", "middle")
    drawing.line(x(1), top - 8, x(1), bottom, "#222222", 1.5)
    for index, result in enumerate(results):
        y = top + step * index + step / 2
        low, middle, high = shares(result)
        color = GOOD if middle <= 1 else BAD
        drawing.text(left - 10, y + 4, f"{result.label} / {result.target.peer}", "end")
        drawing.line(x(low), y, x(high), y, color, 2.0)
        drawing.dot(x(middle), y, color)
        drawing.text(right + 8, y + 4, f"{result.middle:.2f}", color=color)
    return drawing.svg()


SIZE_ROWS = {"get": "#2a78b5", "notify": "#2e8b57", "socket": "#8e44ad"}


def size_chart(results):
    """Cost for one byte against the size of the message, ours and the peer's."""
    results = [result for result in results
               if result.target.row in SIZE_ROWS and result.target.peer == "reader"]
    left, right, top, bottom = 60, WIDTH - 170, 60, 360
    sizes = [math.log10(result.bytes) for result in results]
    first, last = math.floor(min(sizes) + 0.1), max(sizes)
    most = max(max(result.cost, result.peer_cost) / result.bytes for result in results) * 1.1

    def x(size):
        return left + (math.log10(size) - first) / (last - first) * (right - left)

    def y(cost):
        return bottom - cost / most * (bottom - top)

    drawing = Drawing(WIDTH, bottom + 50, "Nanoseconds per byte against the size of the message")
    drawing.text(10, 40, "level: the cost grows with the size and no faster")
    draw_axes(drawing, (left, right, bottom), (first, last), most, x, y)
    for index, (row, color) in enumerate(SIZE_ROWS.items()):
        points = [result for result in results if result.target.row == row]
        height = top + 40 * index + 10
        draw_curve(drawing, [(x(p.bytes), y(p.cost / p.bytes)) for p in points], color, "")
        draw_curve(drawing, [(x(p.bytes), y(p.peer_cost / p.bytes)) for p in points], color, "5,4")
        draw_legend(drawing, right + 15, height, f"{row}, library", color, "")
        draw_legend(drawing, right + 15, height + 18, f"{row}, bare", color, "5,4")
    return drawing.svg()


def draw_axes(drawing, frame, exponents, most, x, y):
    left, right, bottom = frame
    for exponent in range(exponents[0], math.floor(exponents[1]) + 1):
        size = 10 ** exponent
        label = (f"{size // 1000000} MB" if exponent >= 6 else
                 f"{size // 1000} kB" if exponent >= 3 else f"{size} B")
        drawing.line(x(size), bottom, x(size), bottom + 5, "#222222")
        drawing.text(x(size), bottom + 20, label, "middle")
    step = 10 ** math.floor(math.log10(most)) / 2
    for index in range(int(most / step) + 1):
        drawing.line(left, y(index * step), right, y(index * step), "#dddddd")
        drawing.text(left - 8, y(index * step) + 4, f"{index * step:g}", "end")


def draw_curve(drawing, points, color, dash):
    for start, end in zip(points, points[1:]):
        drawing.line(*start, *end, color, 2.0, dash)
    for point in points:
        drawing.dot(*point, color, 3)


def draw_legend(drawing, x, y, text, color, dash):
    drawing.line(x, y, x + 30, y, color, 2.0, dash)
    drawing.text(x + 36, y + 4, text)
