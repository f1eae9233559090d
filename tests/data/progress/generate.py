#!/usr/bin/env python3
"""Writes expected.json: progress scores of checkmark histories, computed independently of the
C++ code with Python's own calendar and time-zone data (zoneinfo), for the progress tests.

Run it from anywhere: python3 tests/data/progress/generate.py
The output is committed; the tests only read it.

Every case names a time zone, a repeat interval (times per days) and checkmarks given as local
wall-clock times in that zone. For each case the file holds the checkmark instants (seconds since
2001-01-01 00:00:00 UTC), the score over the whole history (unrounded), and for each asked instant
the score on that instant (rounded up) and the continuation of the whole-history score from the
latest checkmark to that instant (rounded up and unrounded).

Besides the few instants named by hand, every case is asked on every local calendar day from the
day before its first checkmark to three days after its last one (a day's first and last minute and
its noon; noon only for the long random histories), so each day of each history is checked.
"""

import json
import math
import os
import random
from datetime import date, datetime, timedelta
from zoneinfo import ZoneInfo

REFERENCE_DATE = 978307200  # 2001-01-01 00:00:00 UTC in seconds since 1970
SECONDS_PER_DAY = 86400.0


def instant(zone, text, extra_seconds=0.0):
    """Seconds since the reference date of a local wall-clock time "YYYY-MM-DD HH:MM:SS"."""
    local = datetime.strptime(text, "%Y-%m-%d %H:%M:%S").replace(tzinfo=ZoneInfo(zone))
    return local.timestamp() - REFERENCE_DATE + extra_seconds


def day_start(zone, seconds):
    """The local midnight that starts the day of an instant (these zones never skip midnight)."""
    tz = ZoneInfo(zone)
    local = datetime.fromtimestamp(seconds + REFERENCE_DATE, tz)
    midnight = datetime(local.year, local.month, local.day, tzinfo=tz)
    return midnight.timestamp() - REFERENCE_DATE


def round_half_away_from_zero(x):
    whole = math.floor(abs(x))
    if abs(x) - whole >= 0.5:
        whole += 1
    return int(math.copysign(whole, x)) if whole != 0 else 0


def day_gap(zone, later, earlier):
    return round_half_away_from_zero((day_start(zone, later) - day_start(zone, earlier)) / SECONDS_PER_DAY)


def divisor(times, days):
    quotient = abs(days) // abs(times)
    return float(quotient if (days >= 0) == (times >= 0) else -quotient)


def gain(p):
    p = p + max((100.0 - p) / 21.0, 0.1)
    if p <= 0:
        return 0.0
    if p > 100:
        return 100.0
    return p


def missed_day(p, d):
    step = (100.0 - p) / 21.0
    loss = step * 0.5 if step >= 0.1 else 0.05
    p = p - (loss / d if d != 0 else math.inf)
    if p <= 0:
        p = 0.0
    if p > 100:
        p = 100.0
    return p


def after_gap(p, gap, times, days):
    for _ in range(gap - 1):
        p = missed_day(p, divisor(times, days))
    return p


def whole_history(zone, dates, times, days):
    p = 0.0
    previous = None
    for date in sorted(dates):
        if previous is not None:
            p = after_gap(p, day_gap(zone, date, previous), times, days)
        p = gain(p)
        previous = date
    return p


def continuation(zone, p, last, times, days, on):
    if last is None:
        return p
    return after_gap(p, max(day_gap(zone, on, last), 0), times, days)


def on_date(zone, dates, times, days, on):
    kept = [d for d in dates if d <= on]
    p = whole_history(zone, kept, times, days)
    last = max(kept) if kept else None
    return math.ceil(continuation(zone, p, last, times, days, on))


EVERY_DAY_TIMES = ["00:00:30", "12:00:00", "23:59:30"]


def every_day(checkmarks, times, first=None, last=None):
    """Local wall-clock texts at `times` on every day from the day before the first checkmark (or
    `first`) to three days after the last one (or `last`)."""
    days_of = sorted(date.fromisoformat((c[0] if isinstance(c, tuple) else c)[:10])
                     for c in checkmarks)
    first = date.fromisoformat(first) if first else days_of[0] - timedelta(days=1)
    last = date.fromisoformat(last) if last else days_of[-1] + timedelta(days=3)
    result = []
    day = first
    while day <= last:
        result.extend(f"{day.isoformat()} {t}" for t in times)
        day += timedelta(days=1)
    return result


def case(name, zone, times, days, checkmarks, asked, daily_times=None, first=None, last=None):
    dates = [instant(zone, *c) if isinstance(c, tuple) else instant(zone, c) for c in checkmarks]
    asked = asked + every_day(checkmarks, daily_times or EVERY_DAY_TIMES, first, last)
    asked_dates = [instant(zone, a) for a in asked]
    p = whole_history(zone, dates, times, days)
    last = max(dates) if dates else None
    return {
        "name": name,
        "zone": zone,
        "times": times,
        "days": days,
        "dates": dates,
        "wholeHistory": p,
        "asked": [
            {
                "on": on,
                "onDate": on_date(zone, dates, times, days, on),
                "continued": continuation(zone, p, last, times, days, on),
                "continuedRoundedUp": math.ceil(continuation(zone, p, last, times, days, on)),
            }
            for on in asked_dates
        ],
    }


def random_history(name, zone, times, days, seed, count, span_days, start="2023-01-01 00:00:00"):
    rng = random.Random(seed)
    first = datetime.strptime(start, "%Y-%m-%d %H:%M:%S")
    checkmarks = []
    for _ in range(count):
        local = first + timedelta(days=rng.randrange(span_days), seconds=rng.randrange(86400))
        checkmarks.append((local.strftime("%Y-%m-%d %H:%M:%S"), rng.choice([0.0, 0.25, 0.5])))
    asked = [
        (first + timedelta(days=d, hours=h)).strftime("%Y-%m-%d %H:%M:%S")
        for d, h in [(-1, 12), (span_days // 3, 9), (span_days // 2, 23), (span_days - 1, 20),
                     (span_days, 1), (span_days + 1, 12), (span_days + 30, 12)]
    ]
    return case(name, zone, times, days, checkmarks, asked, daily_times=["12:00:00"])


def main():
    ny = "America/New_York"
    cases = [
        case("worked example 1/1, days 1, 2 and 4, asked on day 6", ny, 1, 1,
             ["2024-01-01 09:00:00", "2024-01-02 09:00:00", "2024-01-04 09:00:00"],
             ["2024-01-06 12:00:00", "2024-01-04 08:00:00", "2024-01-05 23:59:59"]),
        case("3/7 with gaps of 3 and 5 days", ny, 3, 7,
             ["2024-02-01 10:00:00", "2024-02-04 10:00:00", "2024-02-09 18:30:00",
              "2024-02-10 07:00:00"],
             ["2024-02-10 06:59:59", "2024-02-12 12:00:00", "2024-02-20 12:00:00"]),
        case("1/7 with weekly checkmarks", ny, 1, 7,
             ["2024-04-01 08:00:00", "2024-04-08 08:00:00", "2024-04-15 08:00:00",
              "2024-04-29 08:00:00"],
             ["2024-04-30 08:00:00", "2024-05-06 08:00:00", "2024-04-10 08:00:00"]),
        case("2/1: a gap of two days drops the score to 0", ny, 2, 1,
             ["2024-05-01 08:00:00", "2024-05-02 08:00:00", "2024-05-04 08:00:00",
              "2024-05-04 20:00:00"],
             ["2024-05-03 08:00:00", "2024-05-05 08:00:00", "2024-05-06 08:00:00"]),
        case("1/1 across the spring-forward night", ny, 1, 1,
             ["2024-03-08 22:00:00", "2024-03-09 23:30:00", "2024-03-11 00:30:00",
              "2024-03-13 06:00:00"],
             ["2024-03-10 12:00:00", "2024-03-11 00:29:59", "2024-03-15 12:00:00"]),
        case("3/7 across the fall-back night", ny, 3, 7,
             ["2024-10-31 12:00:00", "2024-11-02 23:30:00", "2024-11-04 00:10:00",
              "2024-11-07 01:00:00"],
             ["2024-11-03 12:00:00", "2024-11-03 01:30:00", "2024-11-10 12:00:00"]),
        case("a checkmark at 23:59 and the next at 00:01", ny, 1, 1,
             ["2024-06-10 23:59:00", "2024-06-11 00:01:00"],
             ["2024-06-11 00:00:30", "2024-06-12 23:59:59", "2024-06-13 00:00:00"]),
        case("1/1 in Kyiv across its spring change", "Europe/Kyiv", 1, 1,
             ["2024-03-29 23:50:00", "2024-03-31 00:10:00", "2024-03-31 23:59:59",
              "2024-04-03 04:00:00"],
             ["2024-03-31 03:30:00", "2024-04-05 12:00:00"]),
        case("no checkmarks", ny, 1, 1, [], ["2024-01-01 00:00:00", "2030-01-01 00:00:00"],
             first="2024-03-08", last="2024-03-12"),
        case("1/7 with a gap across the spring-forward night", ny, 1, 7,
             ["2024-03-06 07:00:00", "2024-03-07 21:00:00", "2024-03-12 07:00:00"],
             ["2024-03-10 03:00:00", "2024-03-20 12:00:00"]),
        case("2/1 across the fall-back night", ny, 2, 1,
             ["2024-11-01 09:00:00", "2024-11-02 23:00:00", "2024-11-03 23:00:00",
              "2024-11-05 00:30:00"],
             ["2024-11-03 01:30:00", "2024-11-06 12:00:00"]),
        case("23:59 and 00:01 on the fall-back night", ny, 1, 1,
             ["2024-11-01 12:00:00", "2024-11-02 23:59:00", "2024-11-03 00:01:00"],
             ["2024-11-03 00:00:30", "2024-11-03 23:59:59"]),
        case("23:59 and 00:01 two days later across the spring-forward night", ny, 1, 1,
             ["2024-03-08 12:00:00", "2024-03-09 23:59:00", "2024-03-11 00:01:00"],
             ["2024-03-10 23:59:59", "2024-03-11 00:00:30"]),
    ]
    for times, days, seed in [(1, 1, 1), (3, 7, 2), (1, 7, 3), (2, 1, 4)]:
        cases.append(random_history(f"random history {times}/{days}", ny, times, days, seed,
                                    count=80, span_days=400))
    cases.append(random_history("dense random history 1/1", ny, 1, 1, 5, count=400,
                                span_days=120))
    output = os.path.join(os.path.dirname(os.path.abspath(__file__)), "expected.json")
    # One case per line keeps the file small and its diffs readable.
    with open(output, "w", encoding="utf-8") as file:
        file.write('{"cases": [\n')
        file.write(",\n".join(json.dumps(c, separators=(",", ":")) for c in cases))
        file.write("\n]}\n")


if __name__ == "__main__":
    main()
