#!/usr/bin/env python3
"""Generates the C++ bindings from interface descriptions.

    nexar_generate.py --root idl=bindings --root opax/std=opax/std --render bindings --out build/gen

Every root is parsed and checked together (so that references across libraries resolve); only
the units whose prefix is given to --render are written. A mistake in a description is reported
as `file:line: message`, and nothing is written."""

import argparse
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from nexargen import catalog, render, stats  # noqa: E402


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", action="append", required=True, metavar="DIR=PREFIX",
                        help="a directory of descriptions and the include prefix of its output")
    parser.add_argument("--render", action="append", default=[], metavar="PREFIX",
                        help="write the units of this prefix (repeatable); none: check only")
    parser.add_argument("--mocks", action="append", default=[], metavar="PREFIX",
                        help="also write a GoogleMock header for each service of this prefix (repeatable)")
    parser.add_argument("--out", help="output directory")
    parser.add_argument("--stamp", help="file to touch after a successful run")
    parser.add_argument("--stats", action="store_true", help="print the catalogue's statistics")
    parser.add_argument("--areas", default="",
                        help="render only these areas (first path component below a root, ';' or ',' separated) "
                             "and the units they need; empty: all")
    parser.add_argument("--list", action="store_true",
                        help="print the description files (root/rel.idl) that would be rendered, one per line")
    args = parser.parse_args(argv)

    roots = []
    for root_arg in args.root:
        directory, _, prefix = root_arg.partition("=")
        if not prefix or not os.path.isdir(directory):
            print(f"nexar_generate: --root {root_arg}: expected an existing DIR=PREFIX", file=sys.stderr)
            return 2
        roots.append((directory, prefix))

    units, errors = [], None
    all_errors = []
    for directory, prefix in roots:
        found, errors = catalog.load([directory])
        for unit in found:
            unit.prefix = prefix
        units.extend(found)
        all_errors.extend(errors.lines())
    if not all_errors:
        all_errors = catalog.Catalog(units).check().lines()
    if all_errors:
        for line in all_errors:
            print(line, file=sys.stderr)
        return 1
    selected = [u for u in units if u.prefix in args.render]
    areas = [a for a in args.areas.replace(",", ";").split(";") if a]
    if areas:
        # Areas select among the catalogue's services; the sibling libraries are always whole.
        chosen = [u for u in selected if u.prefix != "bindings" or u.rel.split("/")[0] in areas]
        selected = [u for u in catalog.closure(chosen) if u.prefix in args.render]
        unknown = sorted(set(areas) - {u.rel.split("/")[0] for u in units if u.prefix == "bindings"})
        if unknown:
            print(f"nexar_generate: unknown area(s): {', '.join(unknown)}", file=sys.stderr)
            return 2
    if args.list:
        for unit in selected:
            print(unit.path)
    if args.render and not args.list:
        if not args.out:
            print("nexar_generate: --render needs --out", file=sys.stderr)
            return 2
        try:
            render.render(selected, args.out, units, mocks=args.mocks)
        except OSError as e:  # the output directory, not a description, is at fault
            print(f"nexar_generate: cannot write the output: {e}", file=sys.stderr)
            return 2
    if args.stats:
        print(stats.report(stats.compute(units)))
    if args.stamp:
        with open(args.stamp, "w", encoding="utf-8") as f:
            f.write("ok\n")
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except ImportError as e:
        print(f"nexar_generate: {e}; install python3-jinja2", file=sys.stderr)
        sys.exit(2)
    except Exception as e:  # a generator fault, not a description's: say so without a traceback
        if os.environ.get("NEXARGEN_DEBUG"):
            raise
        print(f"nexar_generate: internal error: {type(e).__name__}: {e}", file=sys.stderr)
        sys.exit(3)
