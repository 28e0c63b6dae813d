#!/usr/bin/env python3
"""Compares records.json with the output of a program, and with the records in the headers.

    check_records.py <records.json> <folder of public headers> <print_records, with its emulator if needed>
"""
import json
import re
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "docs/tools"))
import command  # noqa: E402

RECORD = re.compile(r"^typedef struct (\w+) \{(.*?)^\} \1;", re.M | re.S)
FIELD = re.compile(r"(\w+)(?:\[[^\]]*\])*;")


def main(file, headers, program, *program_arguments):
    found = json.loads(Path(file).read_text(encoding="utf-8"))
    records, complaints = found["records"], []
    printed = subprocess.run([program, *program_arguments], check=True, capture_output=True, encoding="utf-8").stdout.split("\n")
    seen = 0
    for line in filter(None, printed):
        name, *numbers = line.split()
        record, _, field = name.partition(".")
        if name.startswith("*"):
            kept = [str(found["target"]["byte_order" if name == "*order" else name[1:]])]
        elif field:
            kept = [str(records[record]["fields"][field][key]) for key in ("offset", "size")]
        else:
            kept = [str(records[record]["size"])]
            if records[record]["size"] % records[record]["alignment"]:
                complaints.append("%s: size %s, alignment %s" % (name, kept[0], records[record]["alignment"]))
        seen += 1
        if kept != numbers:
            complaints.append("%s: %s in the file, %s printed" % (name, kept, numbers))
    if seen != 3 + len(records) + sum(len(record["fields"]) for record in records.values()):
        complaints.append("the file has more entries than the program prints")
    for header in sorted(Path(headers).glob("*.h")):
        for name, body in RECORD.findall(header.read_text(encoding="utf-8")):
            fields = set(FIELD.findall(re.sub(r"/\*.*?\*/", "", body, flags=re.S)))
            if fields != set(records.get(name, {"fields": {}})["fields"]):
                complaints.append("%s: %s has the fields %s" % (header.name, name, ", ".join(sorted(fields))))
    print("\n".join(complaints + ["%d records" % len(records)]))
    return int(bool(complaints) or not records)


command.run(main, __doc__)
