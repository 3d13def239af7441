#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""readexport FORMAT FILE: prints as JSON what a reader that is not ours finds in an export."""
import csv
import datetime
import html.parser
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
        "count": len(rows),
        "rows": rows,
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
        "rows": [[cell(found) for found in row] for row in sheet.iter_rows()],
    }


def measure_xlsx(path):
    sheet = openpyxl.load_workbook(path, read_only=True).active
    lengths = [len(row) for row in sheet.iter_rows(values_only=True)]
    with zipfile.ZipFile(path) as parts:
        size = parts.getinfo("xl/worksheets/sheet1.xml").file_size
    return {"count": len(lengths), "sheet_bytes": size}


def read_json(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


class Page(html.parser.HTMLParser):
    """The table of a page, and what the page says about itself."""

    def __init__(self):
        super().__init__()
        self.found = {"rows": []}
        self.cell = None

    def handle_starttag(self, tag, attrs):
        if tag == "html":
            self.found.update(attrs)
        elif tag == "tr":
            self.found["rows"].append([])
        elif tag in ("td", "th"):
            self.cell = ""

    def handle_data(self, data):
        if self.cell is not None:
            self.cell += data

    def handle_endtag(self, tag):
        if tag in ("td", "th"):
            self.found["rows"][-1].append(self.cell)
            self.cell = None


def read_html(path):
    page = Page()
    with open(path, encoding="utf-8", newline="") as file:
        page.feed(file.read())
    return page.found


if __name__ == "__main__":
    readers = {"csv": read_csv, "xlsx": read_xlsx, "xlsx-size": measure_xlsx, "json": read_json,
               "html": read_html}
    json.dump(readers[sys.argv[1]](sys.argv[2]), sys.stdout)
