"""Prints the C++ of checked units through the Jinja2 templates, one header and one source per
unit, and writes only files whose content changed (so a regeneration rebuilds only what it must)."""

import os

from . import cpp, naming, views

TEMPLATES = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "templates")


def environment():
    import jinja2

    return jinja2.Environment(loader=jinja2.FileSystemLoader(TEMPLATES), undefined=jinja2.StrictUndefined,
                              keep_trailing_newline=True, trim_blocks=False, lstrip_blocks=False)


def outputs(unit, out_dir):
    return (os.path.join(out_dir, naming.header(unit.prefix, unit.rel)),
            os.path.join(out_dir, naming.source(unit.prefix, unit.rel)))


def write_if_changed(path, text):
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return False
    except OSError:
        pass
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)
    return True


WIDTH = 120


def break_points(line, limit):
    """Where a code line may be broken before `limit`, outside string literals, best first: after a
    ", ", after a space, before a "::" (the rightmost of each kind)."""
    best = {}
    quoted = False
    start = len(line) - len(line.lstrip()) + 8  # a break this early would not shorten the line
    for i, ch in enumerate(line[:limit + 1]):
        if ch == '"' and line[i - 1] != "\\":
            quoted = not quoted
        if quoted or i < start:
            continue
        if ch == "," and line[i + 1:i + 2] == " " and i + 1 <= limit:
            best["comma"] = i + 2
        elif ch == " " and i < limit:
            best["space"] = i + 1
        elif line.startswith("::", i) and line[i - 1] not in " <(":
            best["scope"] = i
    return best


def split_literal(line, limit):
    """The line cut inside its last string literal that starts before `limit`, after the literal's
    last '.' or ':' that keeps the first piece within the limit, as two adjacent literals (which C++
    joins): the line up to the cut and the rest, or None."""
    spans, opened = [], None
    for i, ch in enumerate(line):
        if ch == '"' and line[i - 1] != "\\":
            if opened is None:
                opened = i
            else:
                spans.append((opened, i))
                opened = None
    for opened, closed in reversed(spans):
        if opened >= limit:
            continue
        end = min(closed, limit - 1)
        cut = max(line.rfind(".", opened + 1, end), line.rfind(":", opened + 1, end))
        if cut > opened + 1:
            return line[:cut + 1] + '"', '"' + line[cut + 1:]
    return None


def fold(line):
    """A line of at most WIDTH characters where it can be broken; continuations indented four more.
    A long comment is broken between words."""
    indent = line[:len(line) - len(line.lstrip())]
    comment = line.lstrip().startswith("//")
    more = indent + ("// " if comment else "    ")
    out = []
    while len(line) > WIDTH:
        if comment:
            cut = line.rfind(" ", len(more), WIDTH + 1) + 1
            parts = (line[:cut], line[cut:]) if cut else None
        else:
            points = break_points(line, WIDTH)
            cut = points.get("comma") or points.get("space")
            parts = (line[:cut], line[cut:]) if cut else split_literal(line, WIDTH)
            if parts is None and "scope" in points:
                parts = line[:points["scope"]], line[points["scope"]:]
        if not parts:
            break
        out.append(parts[0].rstrip())
        line = more + parts[1].lstrip()
    out.append(line)
    return out


def tidy(text):
    """Drops the runs of blank lines that template control flow leaves behind, and folds long lines."""
    lines, blank = [], 0
    for line in text.splitlines():
        line = line.rstrip()
        blank = blank + 1 if not line else 0
        if blank <= 1:
            lines.extend(fold(line))
    return "\n".join(lines).strip("\n") + "\n"


# The sources that include every mock and blocking-call header written with the mocks, so that a
# few compilations check them all: the whole catalogue's in one would need gigabytes of memory.
MOCKS_CHECK_PARTS = 4


def mocks_check(part):
    return f"service_headers_check_{part}.cpp"


def render(units, out_dir, catalogue=None, mocks=()):
    """Renders `units`; `catalogue` (all units, default `units`) decides how types are named, so that
    rendering a part of the catalogue prints the same text as rendering all of it. A service also
    gets a header of blocking calls; those of the prefixes in `mocks` a mock header too, and
    the mocks_check sources include those and their blocking-call headers, in even shares."""
    declared = cpp.declared_names(catalogue or units)
    env = environment()
    header, source = env.get_template("unit.h.j2"), env.get_template("unit.cpp.j2")
    mock, sync = env.get_template("mock.h.j2"), env.get_template("sync.h.j2")
    written, mock_headers = 0, []
    for unit in units:
        view = views.unit_view(unit, unit.prefix, declared)
        h_path, cpp_path = outputs(unit, out_dir)
        written += write_if_changed(h_path, tidy(header.render(u=view)))
        written += write_if_changed(cpp_path, tidy(source.render(u=view)))
        if unit.kind == "service":
            written += write_if_changed(os.path.join(out_dir, naming.sync_header(unit.prefix, unit.rel)),
                                        tidy(sync.render(u=view)))
        if unit.prefix in mocks and unit.kind == "service":
            mock_headers += [naming.mock_header(unit.prefix, unit.rel), naming.sync_header(unit.prefix, unit.rel)]
            written += write_if_changed(os.path.join(out_dir, mock_headers[-2]), tidy(mock.render(u=view)))
    if mocks:
        ordered = sorted(mock_headers)
        for part in range(MOCKS_CHECK_PARTS):
            check = "// Generated: a share of the mock and blocking-call headers, compiled together; do not edit.\n"
            check += "".join(f"#include <{h}>\n" for h in ordered[part::MOCKS_CHECK_PARTS])
            written += write_if_changed(os.path.join(out_dir, mocks_check(part)), check)
    return written
