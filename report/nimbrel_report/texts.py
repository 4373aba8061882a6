"""Times and sizes as a report shows them."""

import datetime


def time_text(moment):
    return moment.astimezone(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC")


def iso_text(moment):
    """A time of a document."""
    return moment.replace("T", " ").replace("Z", " UTC")


def seconds_text(seconds):
    try:
        return time_text(datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc))
    except (OverflowError, ValueError, OSError):
        return f"{seconds} s after 1970"


def bytes_text(count):
    if count is None:
        return "not reported"
    for unit, size in (("PB", 10**15), ("TB", 10**12), ("GB", 10**9), ("MB", 10**6)):
        if count >= size:
            return f"{count / size:.2f} {unit}"
    return f"{count} bytes"
