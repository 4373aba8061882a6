"""What a report shows, as texts and rows for the template, and the numbers of its charts."""

from . import changes, drive_view, findings
from .document import key_of
from .drive_view import LEVEL_WORDS, rank
from .texts import bytes_text, iso_text, time_text

# Of all drives of a report together, so that 500 of them still open in a moment; each has MIN_POINTS at least.
ALL_POINTS = 60000
MIN_POINTS, MAX_POINTS = 60, 400


def report(documents, previous, problems, title, now):
    """Everything that the template shows. previous: documents, or None where there is nothing to compare with."""
    pairs = [(name, drive) for name, document in zip(_names(documents), documents) for drive in document["drives"]]
    beside = findings.of_fleet([drive for _, drive in pairs])
    points = min(MAX_POINTS, max(MIN_POINTS, ALL_POINTS // max(1, len(pairs))))
    drives = [drive_view.drive_row(name, drive, beside.get(id(drive), []), points) for name, drive in pairs]
    drives.sort(key=lambda row: (rank(row["level"]), row["host"], row["serial"]))
    for number, row in enumerate(drives, 1):
        row["id"] = f"d{number}"
    return {
        "title": title, "made": time_text(now), "hosts": [_host(*row) for row in zip(_names(documents), documents)],
        "drives": drives,
        "problems": problems + [f"Host {name}: {problem}" for name, document in zip(_names(documents), documents)
                                for problem in document["problems"]],
        "actions": [row for row in drives if row["level"] in (findings.FAILING, findings.WARNING)],
        "fleet": _fleet(drives, pairs), "changes": _changes(previous, documents, drives),
        "compared_with": iso_text(max(document["collected"] for document in previous)) if previous else None,
    }


def _names(documents):
    """The hosts' names; of those that several have, with the beginning of their IDs."""
    names = [document["host"]["name"] for document in documents]
    return [name if names.count(name) == 1 else f"{name} ({(document['host']['id'] or 'no machine ID')[:13]})"
            for name, document in zip(names, documents)]


def _host(name, document):
    """A row of the table of hosts."""
    return (name, len(document["drives"]), iso_text(document["collected"]), document["tool_version"])


def _changes(previous, documents, drives):
    if previous is None:
        return []
    ids = {id(row["drive"]): row["id"] for row in drives}
    return [{"name": drive and key_of(drive) or key, "host": host, "id": ids.get(id(drive)), "lines": lines}
            for key, host, drive, lines in changes.between(previous, documents)]


# ---- The fleet

def _fleet(drives, pairs):
    capacity = sum(drive.get("identity", {}).get("capacity_bytes") or 0 for _, drive in pairs)
    counts = [(word, level, sum(row["level"] == level for row in drives)) for level, word in LEVEL_WORDS.items()]
    return {"capacity": bytes_text(capacity), "counts": counts,
            "charts": [_histogram(pairs, "percentage_used", "Rated endurance used", "%", range(0, 100, 10)),
                       _histogram(pairs, "temperature_celsius", "Temperature", "°C", range(20, 80, 10))],
            "models": _models(pairs)}


def _histogram(pairs, key, name, unit, starts):
    """How many drives are in each range; the first takes what is below, the last what is above."""
    values = [drive.get("health", {}).get(key) for _, drive in pairs]
    known = sorted(value for value in values if value is not None)
    labels = [f"{start} to {start + 9} {unit}" for start in starts]
    labels[0] = f"below {starts[1]} {unit}"
    labels.append(f"{starts[-1] + 10} {unit} and more")
    counts = [0] * len(labels)
    for value in known:
        counts[min(max((value - starts[0]) // 10, 0), len(labels) - 1)] += 1
    unknown = len(values) - len(known)
    text = (f"{name} of {len(known)} drives: {known[0]} {unit} at least, {known[-1]} {unit} at most, "
            f"{known[len(known) // 2]} {unit} in the middle." if known else f"{name}: no drive reports it.")
    if unknown:
        text += f" Not known of {unknown}."
    return {"name": name, "text": text, "columns": ["Range", "Drives"], "rows": list(zip(labels, counts)),
            "spec": {"kind": "bar", "name": name, "labels": labels, "series": [{"name": "drives", "values": counts}]}}


def _models(pairs):
    counts = {}
    for host, drive in pairs:
        identity = drive.get("identity")
        row = (identity["model_number"], identity["firmware_revision"]) if identity else ("not known", "not known")
        counts[row] = counts.get(row, 0) + 1
    return [(*row, count) for row, count in sorted(counts.items())]
