"""Prints the C++ of checked units through the Jinja2 templates, one header and one source per
unit, and writes only files whose content changed (so a regeneration rebuilds only what it must)."""

import os

from . import cpp

TEMPLATES = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "templates")


def environment():
    import jinja2

    return jinja2.Environment(loader=jinja2.FileSystemLoader(TEMPLATES), undefined=jinja2.StrictUndefined,
                              keep_trailing_newline=True, trim_blocks=False, lstrip_blocks=False)


def outputs(unit, out_dir):
    base = os.path.join(out_dir, unit.prefix, unit.rel)
    return base + ".h", base + ".cpp"


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


def tidy(text):
    """Drops the runs of blank lines that template control flow leaves behind."""
    lines, blank = [], 0
    for line in text.splitlines():
        line = line.rstrip()
        blank = blank + 1 if not line else 0
        if blank <= 1:
            lines.append(line)
    return "\n".join(lines).strip("\n") + "\n"


def render(units, out_dir):
    env = environment()
    header, source = env.get_template("unit.h.j2"), env.get_template("unit.cpp.j2")
    written = 0
    for unit in units:
        view = cpp.unit_view(unit, unit.prefix)
        h_path, cpp_path = outputs(unit, out_dir)
        written += write_if_changed(h_path, tidy(header.render(u=view)))
        written += write_if_changed(cpp_path, tidy(source.render(u=view)))
    return written
