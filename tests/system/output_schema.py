#!/usr/bin/env python3
"""Holds what plchost prints for programs against docs/output.schema.json.

    output_schema.py SCHEMA PLCHOST PLCSTATION FOLDER

Every line of ndjson must be of the schema and of the kind that the command has, and every number of CSV must stand in the column of
its name. The schema itself must refuse lines with a member that nobody knows, and lines that lack a required one.
FOLDER is an empty folder for files. Exit codes: 0 all is as it should be; 1 it is not, and what is wrong is printed.
"""
import csv
import io
import json
import os
import subprocess
import sys
import time

import jsonschema

TIMEOUT = 120


class Checker:
    def __init__(self, schema_file, host, station, folder):
        with open(schema_file, encoding="utf-8") as file:
            self.schema = json.load(file)
        jsonschema.Draft202012Validator.check_schema(self.schema)
        self.validator = jsonschema.Draft202012Validator(self.schema)
        self.host, self.station, self.folder = host, station, folder
        self.failures = 0
        self.kinds = set()

    def claim(self, is_true, what):
        if not is_true:
            self.failures += 1
            print("FAIL", what)

    def errors_of(self, line, definition=None):
        if definition is None and line.get("kind") in self.schema["$defs"]:
            definition = line["kind"]  # says more than that none of all kinds fits
        if definition is None:
            return [error.message for error in self.validator.iter_errors(line)]
        part = dict(self.schema, **{"$ref": "#/$defs/" + definition})
        del part["oneOf"]
        return [error.message for error in jsonschema.Draft202012Validator(part).iter_errors(line)]

    def file(self, name, content):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(content)
        return path

    def run(self, words, lines_in=""):
        done = subprocess.run([self.host] + words, input=lines_in, capture_output=True, text=True, timeout=TIMEOUT, check=False)
        return done.stdout

    def await_line(self, path, text):
        limit = time.monotonic() + TIMEOUT
        while not (os.path.exists(path) and text in read(path)) and time.monotonic() < limit:
            time.sleep(0.02)
        self.claim(os.path.exists(path) and text in read(path), f"{path}: no {text}")

    def lines(self, text, where):
        """The lines of ndjson, each held against the schema, which must refuse it with a member more or less."""
        result = []
        for row in text.splitlines():
            try:
                line = json.loads(row)
            except ValueError:
                self.claim(False, f"{where}: no JSON: {row}")
                continue
            errors = self.errors_of(line)
            self.claim(not errors, f"{where}: {row}\n  {'; '.join(errors)}")
            self.claim(not list(self.validator.iter_errors(line)), f"{where}: not one kind of the schema: {row}")
            self.claim(self.errors_of(dict(line, unheard_of=1)), f"{where}: any member may stand in {row}")
            for required in ("kind", "time"):  # of each kind
                less = {name: value for name, value in line.items() if name != required}
                self.claim(list(self.validator.iter_errors(less)), f"{where}: {required} need not be there: {row}")
            self.kinds.add(line.get("kind"))
            result.append(line)
        self.claim(result, f"{where}: nothing was printed")
        return result


def check_lines(check, port, project, more):
    """Each command in ndjson, on a line with one station that lacks registers, and one that is absent."""
    line = ["-p", port, "-o", "60", "--format", "ndjson"]
    absent = ["-p", port, "-o", "0.1", "--retries", "0", "--format", "ndjson"]
    for words, kinds in (
        (["read"] + line + ["4x:0:3", "4x:9999", "4x:0/f32", "4x:0/str4", "--hex"], ["value"]),
        (["read"] + absent + ["4x:0@9"], ["value"]),
        (["read", "--project", project] + line + ["Mode", "Level", "Digits"], ["value"]),
        (["write"] + line + ["4x:1=1", "4x:9999=1", "4x:2@0=7"], ["write"]),
        (["write"] + line + ["4x:1=1,2", "0x:3=on", "--verify"], ["write"]),
        (["write"] + line + ["4x:20=1", "4x:20=2", "--verify"], ["write"]),
        (["write"] + line + ["4x:20=2", "4x:21=7", "4x:9999=1", "--dry-run"], ["value"]),
        (["write"] + absent + ["4x:1@9=1"], ["write"]),
        (["watch"] + line + ["-1", "4x:0:3", "4x:9999", "4x:0/u64"], ["value", "statistics"]),
        (["watch"] + absent + ["-1", "-q", "4x:0@9"], ["value", "statistics"]),
        (["identify"] + line, ["identity"]),
        (["identify", "-a", "9"] + absent, ["identity"]),
        (["limits", "--samples", "3"] + line, ["limits"]),
        (["limits", "-a", "9"] + absent, ["limits"]),
        (["map", "4x:0-4095"] + line, ["island", "map"]),
        (["map", "-a", "9", "4x:0-31"] + absent, ["map"]),
        (["raw"] + line + ["01 03 00 00 00 01"], ["answer"]),
        (["raw"] + line + ["01 03 FF FF 00 01"], ["answer"]),
        (["raw"] + line + ["00 06 00 01 00 02"], ["answer"]),
        (["raw"] + absent + ["09 03 00 00 00 01"], ["answer"]),
    ):
        lines = check.lines(check.run(words), " ".join(words))
        check.claim(sorted({one["kind"] for one in lines}) == sorted(kinds), f"{words}: kinds are {lines}")
    capture = os.path.join(check.folder, "line.pcapng")
    check.run(["read"] + line + ["4x:0:8", "4x:9999", "0x:1", "--capture", capture])
    lines = check.lines(check.run(["listen", capture, "--project", project, "--format", "ndjson"]), "listen")
    check.claim([one["kind"] for one in lines] == ["heard"] * 6 + ["heard_statistics"], f"listen: {lines}")
    check.claim(any("variables" in one for one in lines), "listen names no variable")
    check.claim(any("exception_code" in one for one in lines), "listen has no exception")
    words = ["run", project, "-p", port, "--format", "ndjson", "--scans", "2"] + more
    lines = check.lines(check.run(words, "Mode = stopped\nLevel = 7\nDigits = 12\nnonsense\nstation 1 off\nMode = 2\nstation 1 on\n"), "run")
    check.claim({one["kind"] for one in lines} == {"value", "write", "statistics"}, f"run: {lines}")
    check.claim("refresh" in lines[-1], "the statistics of run have no refresh")


def check_csv(check, port):
    """The columns of CSV, by their names, beside the same in ndjson."""
    values = ["4x:0:2", "4x:9999"]
    rows = list(csv.DictReader(io.StringIO(check.run(["read", "-p", port, "-o", "60", "--format", "csv"] + values))))
    lines = check.lines(check.run(["read", "-p", port, "-o", "60", "--format", "ndjson"] + values), "read")
    check.claim([row["value"] for row in rows] == [str(value) for value in lines[0]["values"]] + [""], f"values: {rows}")
    check.claim([row["name"] for row in rows] == ["4x:0", "4x:1", "4x:9999"], f"names: {rows}")
    check.claim(rows[2]["exception_code"] == str(lines[1]["exception_code"]), f"exception: {rows[2]}")
    check.claim(rows[2]["exception_name"] == lines[1]["exception_name"] == "illegal data address", f"exception: {rows[2]}")
    for row in rows:
        errors = check.errors_of(row["time"], "time")
        check.claim(not errors, f"time: {errors}")


def check_files(check, port, project):
    """What --log and --audit keep: each line, and each kind that there can be."""
    log, audit = os.path.join(check.folder, "log.ndjson"), os.path.join(check.folder, "audit.ndjson")
    for path in (log, audit):
        if os.path.exists(path):
            os.remove(path)
    check.run(["write", "-p", port, "-o", "60", "--audit", audit, "4x:1=1", "4x:9999=1", "4x:2@0=7", "4x:3/f32=1.5"])
    check.run(["run", project, "-p", port, "--scans", "2", "--log", log, "--audit", audit, "-v"], "Mode = stopped\nDigits = 12\n")
    check.run(["watch", "-p", port, "-o", "0.1", "--retries", "0", "--offline-after", "1", "--log", log, "-1", "4x:0", "4x:0@9"])
    orders = check.lines(read(audit), "audit")
    check.claim([line["kind"] for line in orders].count("order") == 6, f"audit: {orders}")
    check.claim([line["kind"] for line in orders].count("write") == 6, f"audit: {orders}")
    lines = check.lines(read(log), "log")
    missing = {"value", "write", "statistics", "message", "frame", "station"} - {line["kind"] for line in lines}
    check.claim(not missing, f"log: {missing} are missing")


def check_lost_port(check, link, serve):
    """A port that goes and comes back, in the log."""
    log = os.path.join(check.folder, "port.ndjson")
    for path in (log, link):
        if os.path.lexists(path):
            os.remove(path)
    station = serve(["--link", link])
    watch = subprocess.Popen([check.host, "watch", "-p", link, "-o", "60", "-q", "--log", log, "4x:0"], stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL)
    try:
        check.await_line(log, '"kind":"value"')
        # A terminal that has ended is not found again where the next one gets its number: this one has another.
        successor = serve(["--link", link + ".next"])
        station.kill()
        station.wait()
        station = successor
        check.await_line(log, '"state":"lost"')
        os.replace(link + ".next", link)
        check.await_line(log, '"state":"open"')
    finally:
        watch.kill()
        watch.wait()
        station.kill()
        station.wait()
    check.lines(read(log), "log of a lost port")


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def main():
    # Under emulation a station lives that long at most, and a signal that could be held back never reaches it.
    os.environ.setdefault("PLC_RUN_SECONDS", "600")
    check = Checker(*sys.argv[1:5])
    areas = check.file("areas.json", '{"4x": {"0": [1, 65535, 4660], "5": 43981}}')
    project = check.file("project.json", """{"link": {"replyTimeoutMs": 60000}, "variables": [
        {"name": "Mode", "area": "4x", "address": "1", "texts": {"0": "stopped", "2": "running fast"}},
        {"name": "Level", "area": "4x", "address": "2", "unit": "mm"},
        {"name": "Digits", "area": "4x", "address": "5", "format": "bcd"}]}""")

    def serve(words):
        started = subprocess.Popen([check.station, "-a", "1", "-q", "--size", "500", "--areas", areas, "--die-with-parent"] + words,
                                   stdout=subprocess.PIPE, text=True)
        started.terminal = started.stdout.readline().strip()
        return started

    station = serve([])
    try:
        port = station.terminal
        check_lines(check, port, project, [])
        check_csv(check, port)
        for row in check.run(["ports", "--format", "ndjson"]).splitlines():  # none on many machines
            check.lines(row, "ports")
        found = check.run(["scan", "-p", port, "-a", "1", "-b", "9600", "-P", "even", "--wait", "1s", "--listen", "0", "--ask", "4x:499",
                           "--format", "ndjson"])
        check.claim([line["station"] for line in check.lines(found, "scan")] == [1], f"scan: {found}")
        check_files(check, port, project)
        check_lost_port(check, os.path.join(check.folder, "line"), serve)
        plan = json.loads(check.run(["plan", project, "--format", "json"]))
        errors = check.errors_of(plan, "plan")
        check.claim(not errors, f"plan: {errors}")
        check.claim(check.errors_of(dict(plan, unheard_of=1), "plan"), "plan: any member may stand there")
    finally:
        station.kill()
        station.wait()
    print("kinds seen:", ", ".join(sorted(check.kinds)))
    return 1 if check.failures else 0


if __name__ == "__main__":
    sys.exit(main())
