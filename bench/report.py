#!/usr/bin/env python3
"""Prints the table of compare.py and puts it in the page, between its two marks: report.py RESULT PAGE [OPTION...]"""
import json
import re
import sys

result, page, options = sys.argv[1], sys.argv[2], sys.argv[3:]
with open(result, encoding="utf-8") as file:
    measured = json.loads(file.read().strip().splitlines()[-1])
print("\n" + measured["table"])
if not options:  # a partial run must not replace the whole table
    with open(page, encoding="utf-8") as file:
        text = file.read()
    block = f"<!-- measured -->\n{measured['machine']}\n\n{measured['table']}\n<!-- end -->"
    changed, count = re.subn(r"<!-- measured -->.*?<!-- end -->", lambda _: block, text, flags=re.S)
    if count != 1:
        sys.exit(f"{page} lacks the marks to put the table between")
    with open(page, "w", encoding="utf-8") as file:
        file.write(changed)
