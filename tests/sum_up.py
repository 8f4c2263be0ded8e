"""Adds up the results of one run: sum_up.py FOLDER, with FOLDER/SET.xml in the form that both test frameworks write, a
SET.log beside it, and a SET.failed where the set ended with a status of its own. Names what failed; the last line holds
the totals. The status is 0 only where something ran and nothing failed."""

import sys
import xml.etree.ElementTree as xml
from pathlib import Path


def read_results(path):
    """The (name, outcome, words) of each test in one file."""
    for case in xml.parse(path).getroot().iter("testcase"):
        name = f"{case.get('classname')}.{case.get('name')}"
        bad = [found for kind in ("failure", "error") for found in case.findall(kind)]
        if bad:
            yield name, "failed", "\n".join(found.text or found.get("message", "") for found in bad)
        elif case.find("skipped") is not None or case.get("status") == "notrun" or case.get("result") == "skipped":
            yield name, "skipped", ""
        else:
            yield name, "passed", ""


def main(folder):
    totals = {"passed": 0, "failed": 0, "skipped": 0}
    for name in sorted({path.stem for path in folder.iterdir()}):
        result, log, status = (folder / f"{name}.{kind}" for kind in ("xml", "log", "failed"))
        failed = 0
        for test, outcome, words in read_results(result) if result.exists() else ():
            totals[outcome] += 1
            if outcome == "failed":
                failed += 1
                print(f"--- {name}: {test}\n{words.strip()}")
        if status.exists() and not failed:
            totals["failed"] += 1
            print(f"--- {name}: ended with status {status.read_text().strip()}")
            print(log.read_text(errors="replace")[-4000:])
    skipped = f", {totals['skipped']} skipped" if totals["skipped"] else ""
    print(f"{totals['passed']} passed, {totals['failed']} failed{skipped}")
    return 0 if totals["passed"] and not totals["failed"] else 1


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1])))
