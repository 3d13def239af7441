#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""readexport FORMAT FILE: prints as JSON what a reader that is not ours finds in an export."""
import csv
import datetime
import io
import json
import sys
import zipfile

import openpyxl


def read_csv(path):
    with open(path, "rb") as file:
        text = file.read()
    rows = list(csv.reader(io.StringIO(text.decode("utf-8-sig"), newline=""), strict=True))
    return {
        "byte_order_mark": text.startswith(b"\xef\xbb\xbf"),
        "ends_with_crlf": text.endswith(b"\r\n"),
        "bare_line_feeds": text.count(b"\n") - text.count(b"\r\n"),
        "widths": sorted({len(row) for row in rows}),
        "count": len(rows),
        "rows": rows[:100],
    }


def cell(found):
    value = found.value
    if isinstance(value, datetime.timedelta):
        value = round(value.total_seconds())
    elif isinstance(value, (datetime.datetime, datetime.time)):
        value = value.isoformat(sep=" ") if isinstance(value, datetime.datetime) else value.isoformat()
    return {"type": found.data_type, "value": value, "format": found.number_format, "bold": found.font.b,
            "link": bool(found.hyperlink)}


def read_xlsx(path):
    book = openpyxl.load_workbook(path)
    sheet = book.active
    return {
        "sheets": book.sheetnames,
        "title": book.properties.title,
        "right_to_left": bool(sheet.sheet_view.rightToLeft),
        "frozen_at": sheet.freeze_panes,
        "widths": [dimension.width for _, dimension in sorted(sheet.column_dimensions.items())],
        "count": sheet.max_row,
        "rows": [[cell(found) for found in row] for row in sheet.iter_rows(max_row=100)],
    }


def measure_xlsx(path):
    sheet = openpyxl.load_workbook(path, read_only=True).active
    lengths = [len(row) for row in sheet.iter_rows(values_only=True)]
    with zipfile.ZipFile(path) as parts:
        size = parts.getinfo("xl/worksheets/sheet1.xml").file_size
    return {"count": len(lengths), "widths": sorted(set(lengths)), "sheet_bytes": size}


def read_json(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


if __name__ == "__main__":
    readers = {"csv": read_csv, "xlsx": read_xlsx, "xlsx-size": measure_xlsx, "json": read_json}
    json.dump(readers[sys.argv[1]](sys.argv[2]), sys.stdout)
