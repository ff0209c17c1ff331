#!/usr/bin/env python3
"""Mutation fuzzing of the generator's reading of interface descriptions.

    fuzz/idl_parser_fuzz.py [--seconds 60] [--seed 1] [--findings build/fuzz/findings]

Takes the real descriptions (idl/, opax/std, opax/cis), mutates one at a time (bytes flipped,
lines dropped, repeated or swapped, tokens of other descriptions spliced in), and runs it through
the generator as `nexar_generate.py` would: read, parse, check against the whole catalogue, and
render what checks. Every input must either come through or be refused with the generator's own
errors, each a `file:line: message`. Anything else (another exception, an error text of another
shape) is a finding: the input is saved under the findings directory, its path printed, and the
run exits with 1. Runs are repeatable: the same seed makes the same inputs."""

import argparse
import hashlib
import os
import random
import re
import shutil
import sys
import tempfile
import time
import traceback

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(ROOT, "generator"))

from nexargen import catalog, render  # noqa: E402

ROOTS = [("opax/std", "opax/std"), ("opax/cis", "opax/cis"), ("idl", "bindings")]
ERROR_LINE = re.compile(r"^[^\n]+:\d+: [^\n]+$")
TOKEN = re.compile(rb"[A-Za-z_][A-Za-z0-9_.]*|\d+|\"[^\"\n]*\"|\S")


def load_catalogue():
    """Every description, parsed once: (units, {path: (root, rel, bytes)})."""
    units, sources = [], {}
    for directory, prefix in ROOTS:
        found, errors = catalog.load([os.path.join(ROOT, directory)])
        if errors:
            sys.exit("idl_parser_fuzz: the descriptions do not check as they are:\n" + "\n".join(errors.lines()))
        for unit in found:
            unit.prefix = prefix
            with open(unit.path, "rb") as f:
                sources[unit.path] = (directory, prefix, f.read())
        units.extend(found)
    return units, sources


class Mutator:
    def __init__(self, rng, sources):
        self.rng = rng
        self.tokens = sorted({t for _, _, text in sources.values() for t in TOKEN.findall(text)})

    def flip(self, data):
        if not data:
            return bytes([self.rng.randrange(256)])
        data = bytearray(data)
        at = self.rng.randrange(len(data))
        if self.rng.random() < 0.5:
            data[at] ^= 1 << self.rng.randrange(8)
        else:
            data[at] = self.rng.choice(b"{}<>();:,.\"/\\*\n \x00\xff\xc3")
        return bytes(data)

    def lines(self, data):
        lines = data.split(b"\n")
        i, j = self.rng.randrange(len(lines)), self.rng.randrange(len(lines))
        choice = self.rng.randrange(3)
        if choice == 0:
            del lines[i]
        elif choice == 1:
            lines.insert(i, lines[j])
        else:
            lines[i], lines[j] = lines[j], lines[i]
        return b"\n".join(lines)

    def splice(self, data):
        spans = [m.span() for m in TOKEN.finditer(data)]
        token = self.rng.choice(self.tokens)
        if not spans:
            return data + token
        start, end = self.rng.choice(spans)
        if self.rng.random() < 0.5:
            return data[:start] + token + data[end:]  # replace a token
        return data[:start] + token + b" " + data[start:]  # insert one before it

    def truncate(self, data):
        return data[: self.rng.randrange(len(data) + 1)]

    def mutate(self, data):
        operations = [self.flip, self.lines, self.splice, self.splice, self.truncate]
        for _ in range(1 + self.rng.randrange(4)):
            data = self.rng.choice(operations)(data)
        return data


def run_one(units, path, root, prefix, data, scratch):
    """Reads, parses, checks and renders the catalogue with `path` holding `data`. Returns None when
    the generator came through or refused as it should, else what went wrong."""
    rel = os.path.relpath(path, os.path.join(ROOT, root))
    mutated_path = os.path.join(scratch, "in", root, rel)
    os.makedirs(os.path.dirname(mutated_path), exist_ok=True)
    with open(mutated_path, "wb") as f:
        f.write(data)
    try:
        found, errors = catalog.load([os.path.join(scratch, "in", root)])
        for unit in found:
            unit.prefix = prefix
        if not errors:
            others = [u for u in units if u.path != path]
            errors = catalog.Catalog(others + found).check()
            if not errors:
                render.render(found, os.path.join(scratch, "out"), others + found)
    except Exception:  # noqa: BLE001: anything but the generator's own refusal is the finding
        return traceback.format_exc()
    finally:
        os.remove(mutated_path)
    for line in errors.lines():
        if not ERROR_LINE.match(line):
            return f"an error that is not `file:line: message`: {line!r}"
    return None


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--findings", default=os.path.join(ROOT, "build", "fuzz", "findings"))
    args = parser.parse_args(argv)

    rng = random.Random(args.seed)
    units, sources = load_catalogue()
    mutator = Mutator(rng, sources)
    paths = sorted(sources)
    deadline = time.monotonic() + args.seconds
    inputs = 0
    scratch = tempfile.mkdtemp(prefix="idl_parser_fuzz.")
    try:
        while time.monotonic() < deadline:
            path = rng.choice(paths)
            root, prefix, original = sources[path]
            data = mutator.mutate(original)
            inputs += 1
            problem = run_one(units, path, root, prefix, data, scratch)
            if problem is None:
                continue
            os.makedirs(args.findings, exist_ok=True)
            name = f"idl-{hashlib.sha1(data).hexdigest()[:16]}-{os.path.basename(path)}"
            saved = os.path.join(args.findings, name)
            with open(saved, "wb") as f:
                f.write(data)
            print(f"idl_parser_fuzz: finding in a mutation of {os.path.relpath(path, ROOT)}: {saved}\n{problem}",
                  file=sys.stderr)
            return 1
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    print(f"idl_parser_fuzz: seed {args.seed}, {inputs} inputs in {args.seconds:g}s, no finding")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
