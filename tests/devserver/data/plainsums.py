#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""plainsums: what reports over a small workspace have to say, worked out plainly.

Reads {"workspace","entries","queries"} as JSON and prints the expected rows and
totals of every query. Shares nothing with the server: another language, another
time zone database reader, exact fractions.
"""
import functools
import json
import sys
from datetime import date, datetime, timedelta, timezone
from fractions import Fraction
from math import ceil, floor
from zoneinfo import ZoneInfo

NOTHING = {"he": {"project": "ללא פרויקט", "client": "ללא לקוח", "task": "ללא משימה"},
           "en": {"project": "No project", "client": "No client", "task": "No task"}}


@functools.cache
def local_date(zone, instant):
    return datetime.fromtimestamp(instant, ZoneInfo(zone)).date()


@functools.cache
def first_moment(zone, day):
    """The first second whose local date is `day` or later, by bisection."""
    low = int(datetime(day.year, day.month, day.day, tzinfo=timezone.utc).timestamp()) - 30 * 3600
    high = low + 60 * 3600
    while high - low > 1:
        middle = (low + high) // 2
        if local_date(zone, middle) >= day:
            high = middle
        else:
            low = middle
    return high


def week_of(day, language):
    while day.isoweekday() != (7 if language == "he" else 1):
        day -= timedelta(days=1)
    return day


def pieces_of(entry, zone):
    """[(day, start, stop)], as the clock on the wall sees the entry."""
    pieces = []
    start = entry["start"]
    while True:
        day = local_date(zone, start)
        stop = min(entry["stop"], first_moment(zone, day + timedelta(days=1)))
        pieces.append((day, start, stop))
        if stop == entry["stop"]:
            return pieces
        start = stop


def figures(entry, workspace, until):
    """Raw, rounded and money in hundredths from the entry's start until a moment."""
    raw = until - entry["start"]
    rounded = raw
    step = workspace["rounding_minutes"] * 60
    if until == entry["stop"] and step:
        rounded = ceil(Fraction(raw, step)) * step
    rate = rate_of(entry, workspace) or 0
    money = floor(Fraction(rounded * rate, 3600) + Fraction(1, 2)) if entry["billable"] else 0
    return raw, rounded, money


def rate_of(entry, workspace):
    return workspace["projects"][entry["project"]]["rate"] if entry["project"] else None


def part(entry, workspace, start, stop):
    before, after = figures(entry, workspace, start), figures(entry, workspace, stop)
    raw, rounded, money = (b - a for a, b in zip(before, after))
    return {"entry": entry["id"], "raw": raw, "rounded": rounded, "billable": raw * entry["billable"],
            "money": money, "lacking": entry["billable"] and rate_of(entry, workspace) is None}


def totals(parts):
    def total(key):
        return sum(p[key] for p in parts)
    amount = None if any(p["lacking"] for p in parts) else f"{total('money') // 100}.{total('money') % 100:02}"
    return {"raw_duration_seconds": total("raw"), "rounded_duration_seconds": total("rounded"),
            "billable_duration_seconds": total("billable"), "amount": amount,
            "entry_count": len({p["entry"] for p in parts})}


def group_of(entry, day, group, workspace):
    """(id, label) of what the entry, or its part of a day, is counted under."""
    none = NOTHING[workspace["language"]].get(group)
    project = workspace["projects"].get(entry["project"], {"name": None, "client": None})
    if group == "project":
        return entry["project"] or "", project["name"] or none
    if group == "client":
        return project["client"] or "", workspace["clients"].get(project["client"], none)
    if group == "task":
        task = entry["task"]
        return task or "", f'{project["name"]}: {workspace["tasks"][task]}' if task else none
    if group == "user":
        return entry["user"], workspace["users"][entry["user"]]
    shown = day if group == "day" else week_of(day, workspace["language"])
    return str(shown), str(shown)


def iso(instant):
    return datetime.fromtimestamp(instant, timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")


def detailed_row(entry, workspace):
    project = workspace["projects"].get(entry["project"], {"name": None, "client": None})
    shown = {
        "id": entry["id"], "workspace_id": workspace["id"], "user_id": entry["user"],
        "description": entry["description"], "project_id": entry["project"], "tag_ids": entry["tags"],
        "billable": entry["billable"], "start_at": iso(entry["start"]), "stop_at": iso(entry["stop"]),
        "deleted_at": None, "version": entry["version"], "duration_seconds": entry["stop"] - entry["start"],
        "project_name": project["name"], "client_name": workspace["clients"].get(project["client"]),
        "task_name": workspace["tasks"].get(entry["task"]), "user_name": workspace["users"][entry["user"]],
        "tags": [workspace["tags"][tag] for tag in entry["tags"] if tag in workspace["tags"]],
    }
    return {"entry": shown, "totals": totals([part(entry, workspace, entry["start"], entry["stop"])])}


def report(query, workspace, entries):
    zone, group, kind = query["timezone"], query["group_by"], query["kind"]
    first, last = date.fromisoformat(query["from_date"]), date.fromisoformat(query["to_date"])
    split = kind == "weekly" or (kind == "summary" and group in ("day", "week"))
    counted = []  # (entry, day, part)
    for entry in entries:
        if entry["stop"] is None or entry["deleted"]:
            continue
        for day, start, stop in pieces_of(entry, zone) if split else [
                (local_date(zone, entry["start"]), entry["start"], entry["stop"])]:
            if first <= day <= last:
                counted.append((entry, day, part(entry, workspace, start, stop)))
    reply = {"totals": totals([p for _, _, p in counted])}
    if kind == "detailed":
        newest = sorted(counted, key=lambda c: (c[0]["start"], c[0]["id"]), reverse=True)
        return reply | {"rows": [detailed_row(entry, workspace) for entry, _, _ in newest]}

    groups = {}
    for entry, day, piece in counted:
        week = str(week_of(day, workspace["language"])) if kind == "weekly" and group != "week" else ""
        groups.setdefault((week, *group_of(entry, day, group, workspace)), []).append(piece)
    rows = []
    for (week, name, label), pieces in groups.items():
        time = 0 if group in ("day", "week") else -sum(p["raw"] for p in pieces)
        labels = [week, label] if week else [label]
        rows.append(((week, time, label, name), {"labels": labels, "totals": totals(pieces)}))
    return reply | {"rows": [row for _, row in sorted(rows, key=lambda row: row[0])]}


def main():
    world = json.load(sys.stdin)
    json.dump([report(query, world["workspace"], world["entries"]) for query in world["queries"]], sys.stdout)


if __name__ == "__main__":
    main()
