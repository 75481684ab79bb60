"""The results as a table, JSON and a chart."""
import html
import json

from programs import CODEC, OURS

HEADINGS = ["Row", "Ours ms", "Peers ms", "To best", "Codec ms", "To codec", "In process",
            "Processor ms: ours, best, codec", "MiB: ours, best, codec", "Goals"]


def number(value):
    return "–" if value is None else f"{value:.0f}" if value >= 20 else f"{value:.2g}"


def ratio(value):
    return "–" if value is None else f"{value:.2f}"


def outcome(result):
    return f"failed: {result.failure}" if result.failure else f"left out: {result.missing}"


def cells(result, kind):
    """One row of the table."""
    row = result.row
    if result.failure or result.missing:
        return [row.title, outcome(result)] + [""] * 8
    best = result.best_peer(kind)
    chosen = [result.programs.get(name) for name in (OURS, best, CODEC)]
    peers = sorted(result.peers().items(), key=lambda item: item[1].median("wall"))
    inside = result.inside.get(OURS)
    codec_inside = result.inside.get(CODEC)
    inside_text = "–"
    if inside:
        inside_text = number(inside.median("wall"))
        if codec_inside:
            inside_text += (f" : {number(codec_inside.median('wall'))} = "
                            f"{ratio(result.ratio('inside', kind))}")
    goals = []
    for goal in row.goals:
        verdict = result.verdict(goal, kind)
        goals.append(f"{goal}: {'–' if verdict is None else 'met' if verdict else '**missed**'}")

    def each(value):
        return ", ".join("–" if samples is None else value(samples) for samples in chosen)

    return [row.title,
            number(chosen[0].median("wall") if chosen[0] else None),
            ", ".join(f"{name} {number(samples.median('wall'))}" + ("*" if samples.differs else "")
                      for name, samples in peers) or "–",
            ratio(result.ratio("best", kind)),
            number(chosen[2].median("wall") if chosen[2] else None),
            ratio(result.ratio(CODEC, kind)),
            inside_text,
            each(lambda samples: number(samples.median("cpu"))),
            each(lambda samples: f"{samples.peak / 1024:.0f}"),
            "; ".join(goals) or "–"]


def notes(results):
    """What peers do otherwise, and which ones can't do a row."""
    differing = sorted({(name, samples.differs, samples.counts) for result in results
                        for name, samples in result.programs.items() if samples.differs})
    lines = [f"\\* {name}: {differs}" + ("" if counts else "; is not counted as a peer")
             for name, differs, counts in differing]
    return lines + [f"{result.row.name}: left out: {error}" for result in results
                    for error in result.unable.values()]


def table(results, kind, aligned):
    """Markdown; aligned to be read as it is, or short."""
    lines = [HEADINGS] + [cells(result, kind) for result in results]
    widths = [max(len(line[column]) for line in lines) if aligned else 3
              for column in range(len(HEADINGS))]
    lines.insert(1, ["-" * width for width in widths])
    return "\n".join("| " + " | ".join(cell.ljust(width * aligned)
                                       for cell, width in zip(line, widths)) + " |"
                     for line in lines)


def summary(result, kind):
    """A line to watch a run by."""
    if result.failure or result.missing:
        return f"{result.row.name}: {outcome(result)}"
    best = result.best_peer(kind)
    parts = [f"ours {number(result.ours(kind))} ms"]
    for against, name in (("best", best), (CODEC, CODEC), ("before", "before"), ("inside", "in process")):
        value = result.ratio(against, kind)
        if value is not None:
            parts.append(f"{name} {ratio(value)}")
    return f"{result.row.name}: " + ", ".join(parts)


def as_json(results, facts, kind):
    def describe(samples):
        return {"wall_ms": samples.wall, "cpu_ms": samples.cpu, "peak_kib": samples.peak,
                "differs": samples.differs, "counts": samples.counts}

    def named(ratios):
        return {name: value for name, value in ratios.items() if value is not None}

    return json.dumps(facts | {"rows": [{
        "name": result.row.name,
        "title": result.row.title,
        "failure": result.failure,
        "missing": result.missing,
        "unable": result.unable,
        "programs": {name: describe(samples) for name, samples in result.programs.items()},
        "in_process": {name: describe(samples) for name, samples in result.inside.items()},
        "best_peer": result.best_peer(kind),
        "ratios": {each: named({against: result.ratio(against, each)
                                for against in ("best", CODEC, "before", "inside")})
                   for each in ("wall", "cpu")},
        "goals": [{"goal": str(goal), "met": result.verdict(goal, kind)}
                  for goal in result.row.goals],
    } for result in results]}, indent=1, ensure_ascii=False)


BAR = 14
WIDTH = 620
LABELS = 150
COLORS = {OURS: "#c0392b", CODEC: "#7f8c8d"}


def chart(results):
    """Bars of the clock's medians; the longest one of each row is as long as the others'."""
    parts = []
    y = 10
    for result in results:
        samples = result.programs or result.inside
        if not samples:
            continue
        parts.append(f'<text x="10" y="{y + 12}" font-weight="bold">{html.escape(result.row.title)}</text>')
        y += 20
        longest = max(each.median("wall") for each in samples.values())
        for name, each in sorted(samples.items(), key=lambda item: item[1].median("wall")):
            length = max(1.0, WIDTH * each.median("wall") / max(longest, 0.001))
            parts.append(
                f'<text x="{LABELS}" y="{y + 11}" text-anchor="end">{html.escape(name)}</text>'
                f'<rect x="{LABELS + 8}" y="{y}" width="{length:.1f}" height="{BAR - 2}" '
                f'fill="{COLORS.get(name, "#2980b9")}"/>'
                f'<text x="{LABELS + 14 + length:.1f}" y="{y + 11}">{number(each.median("wall"))} ms</text>')
            y += BAR
        y += 12
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{LABELS + WIDTH + 100}" height="{y}" '
            f'font-family="sans-serif" font-size="11"><rect width="100%" height="100%" fill="white"/>'
            f'{"".join(parts)}</svg>\n')
