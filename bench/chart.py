"""The results as a picture: a bar for each peer and piece of work, as long as its median time
beside ours."""

import html

WIDTH, BAR, STEP, GAP, LEFT, SCALE = 960, 14, 20, 24, 240, 160
LONGEST = WIDTH - LEFT - 170  # a longer bar is cut, and says so
COLOURS = {"ours": "#1b6ca8", "floor": "#999999", "library": "#d08a2e", "program": "#c7b446"}
LEGEND = [("ours", "the library and qelftp"), ("library", "libraries"), ("program", "programs"),
          ("floor", "fewest system calls")]


def text(x, y, words, **attributes):
    more = "".join(f' {name.replace("_", "-")}="{value}"' for name, value in attributes.items())
    return f'<text x="{x}" y="{y}"{more}>{html.escape(words)}</text>'


def bar(y, row, ratio):
    length = min(ratio * SCALE, LONGEST)
    cut = " →" if length < ratio * SCALE else ""
    return [text(LEFT - 8, y, row["peer"], text_anchor="end"),
            f'<rect x="{LEFT}" y="{y - BAR + 3}" width="{length:.1f}" height="{BAR}" '
            f'fill="{COLOURS[row["kind"]]}"/>',
            text(f"{LEFT + length + 6:.1f}", y, f"{ratio:.2f}{cut} ({row['median_s']:.3f} s)")]


def bar_chart(rows, ours):
    """ours: by work, the peer whose bar has the length 1."""
    parts, x, y = [], LEFT, 24
    for kind, words in LEGEND:
        parts += [f'<rect x="{x}" y="{y - BAR + 3}" width="{BAR}" height="{BAR}" '
                  f'fill="{COLOURS[kind]}"/>', text(x + BAR + 5, y, words)]
        x += 165
    y += STEP + GAP
    for work, reference in ours.items():
        measured = [row for row in rows if row["work"] == work and "median_s" in row]
        one = next((row["median_s"] for row in measured if row["peer"] == reference), None)
        if one is None:
            continue
        parts.append(text(10, y, f"{measured[0]['title']}: time beside {reference}",
                          font_weight="bold"))
        top = y + 6
        for row in measured:
            y += STEP
            parts += bar(y, row, row["median_s"] / one)
        parts.append(f'<line x1="{LEFT + SCALE}" y1="{top}" x2="{LEFT + SCALE}" y2="{y + 4}" '
                     'stroke="#444444" stroke-dasharray="3,3"/>')
        y += STEP + GAP
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{y}" '
            f'font-family="sans-serif" font-size="12"><rect width="100%" height="100%" '
            f'fill="white"/>{"".join(parts)}</svg>\n')
