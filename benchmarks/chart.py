"""Draws cost against size, both in powers of ten, as SVG."""

import math

WIDTH, HEIGHT, MARGIN, LEGEND = 560, 320, 64, 280
COLOURS = ("#0b3d91", "#c0392b", "#27803b", "#8e44ad", "#b9770e", "#117a8b", "#5d6d7e", "#7b241c")


def ticks(least, greatest):
    return [10.0 ** power for power in range(math.floor(math.log10(least)), math.ceil(math.log10(greatest)) + 1)]


def svg_of(title, unit, costs, factor):
    """`costs` gives who to size to cost; ours is drawn thicker."""
    points = {who: sorted((size, cost / factor) for size, cost in sizes.items() if size and cost > 0)
              for who, sizes in costs.items()}
    points = {who: line for who, line in points.items() if line}
    sizes = ticks(min(line[0][0] for line in points.values()), max(line[-1][0] for line in points.values()))
    values = ticks(min(cost for line in points.values() for _, cost in line),
                   max(cost for line in points.values() for _, cost in line))

    def across(size):
        return MARGIN + WIDTH * math.log(size / sizes[0]) / math.log(sizes[-1] / sizes[0])

    def down(cost):
        return MARGIN / 2 + HEIGHT * (1 - math.log(cost / values[0]) / math.log(max(values[-1] / values[0], 10)))

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{MARGIN + WIDTH + LEGEND}" height="{HEIGHT + MARGIN + 24}" '
             'font-family="sans-serif" font-size="12">', '<rect width="100%" height="100%" fill="white"/>',
             f'<text x="{MARGIN}" y="18" font-size="14">{title}: {unit} against size</text>']
    for size in sizes:
        parts += [f'<path d="M{across(size):.1f},{MARGIN / 2}v{HEIGHT}" stroke="#ddd"/>',
                  f'<text x="{across(size):.1f}" y="{MARGIN / 2 + HEIGHT + 18}" text-anchor="middle">{size:,.0f}</text>']
    for value in values:
        parts += [f'<path d="M{MARGIN},{down(value):.1f}h{WIDTH}" stroke="#ddd"/>',
                  f'<text x="{MARGIN - 6}" y="{down(value) + 4:.1f}" text-anchor="end">{value:,.10g}</text>']
    for number, who in enumerate(sorted(points, key=lambda name: (name != "ours", name))):
        colour = COLOURS[number % len(COLOURS)]
        line = " ".join(f"{across(size):.1f},{down(cost):.1f}" for size, cost in points[who])
        y = MARGIN / 2 + 14 + 20 * number
        parts += [f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="{3 if who == "ours" else 1.5}"/>',
                  *(f'<circle cx="{across(size):.1f}" cy="{down(cost):.1f}" r="3" fill="{colour}"/>' for size, cost in points[who]),
                  f'<path d="M{MARGIN + WIDTH + 12},{y - 4}h18" stroke="{colour}" stroke-width="3"/>',
                  f'<text x="{MARGIN + WIDTH + 36}" y="{y}">{who}</text>']
    return "\n".join([*parts, "</svg>\n"])
