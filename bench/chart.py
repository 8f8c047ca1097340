"""The results as a picture: a bar for each peer and piece of work, ours as 1."""

import html

WIDTH, BAR, GAP, LEFT, SCALE = 900, 14, 34, 300, 180
COLOURS = {"ours": "#1b6ca8", "bare": "#999999"}


def bar_chart(results):
    parts, y = [], 30
    for work in dict.fromkeys(row["work"] for row in results):
        parts.append(f'<text x="10" y="{y}" font-weight="bold">{html.escape(work)}</text>')
        rows = [row for row in results if row["work"] == work]
        for row in rows:
            y += BAR + 6
            ratio = 1 / row["ours_to_peer"]
            length = min(ratio * SCALE, WIDTH - LEFT - 110)
            colour = COLOURS.get(row["peer"], "#d08a2e")
            parts.append(f'<text x="{LEFT - 10}" y="{y}" text-anchor="end">'
                         f'{html.escape(row["peer"])}</text>'
                         f'<rect x="{LEFT}" y="{y - BAR + 3}" width="{length:.0f}" '
                         f'height="{BAR}" fill="{colour}"/>'
                         f'<text x="{LEFT + length + 6:.0f}" y="{y}">{ratio:.2f} '
                         f'({row["median_s"]:.2f} s)</text>')
        y += GAP
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{y}" '
            f'font-family="sans-serif" font-size="12"><rect width="100%" height="100%" '
            f'fill="white"/>{"".join(parts)}</svg>\n')
