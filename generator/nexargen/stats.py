"""The catalogue's statistics: how many services, operations, structures and enumerations it
has, and how its fields are typed, in the categories the native types fall into. A test holds
them near the catalogue's known shape, so that it cannot quietly become thin."""

import collections

from . import naming
from .model import Struct


def field_category(t):
    """The native member type family of a field, as counted in the catalogue's figures."""
    if t.kind == "optional":
        inner = t.args[0]
        if inner.kind == "ref" and isinstance(inner.target, Struct):
            return "optional structure"
        if inner.kind in ("string", "uri", "id"):
            return "optional string"
        if inner.kind in ("set", "list") and inner.args[0].kind in ("string", "uri", "id"):
            return f"optional {inner.kind} of strings"
        if inner.kind == "ref":
            return "optional enumeration"
        return f"optional {inner.kind}"
    if t.kind in ("string", "uri", "id"):
        return "string"
    if t.kind == "ref":
        return "structure" if isinstance(t.target, Struct) else "enumeration"
    if t.kind == "list" and t.args[0].kind == "ref" and isinstance(t.args[0].target, Struct):
        return "list of structures"
    if t.kind in ("set", "list") and t.args[0].kind in ("string", "uri", "id"):
        return f"{t.kind} of strings"
    return t.kind


def compute(units):
    nexar = [u for u in units if u.dotted == naming.ROOT or naming.is_below(u.dotted, naming.ROOT)]
    services = [u for u in nexar if u.kind == "service"]
    structs = [s for u in nexar for s in u.structs]
    declared_enums = sum(len(u.enums) + sum(len(s.enums) for s in u.structs) for u in nexar)
    annotations = 0
    for s in structs:
        cases = [f for f in s.fields if f.case]
        if cases:
            annotations += 1 + len(cases)
    fields = collections.Counter(field_category(f.type) for s in structs for f in s.fields)
    operations = [op for u in services for op in u.operations]
    return {
        "services": len(services),
        "operations": len(operations),
        "task_only": sum(op.task_only for op in operations),
        "both_forms": sum(op.also_task for op in operations),
        "structures": len(structs),
        "enumerations": declared_enums + annotations,
        "declared_enumerations": declared_enums,
        "resource_types": sum(1 for u in services if u.resource_type),
        "fields": dict(fields),
    }


def report(stats):
    lines = [f"{key}: {stats[key]}" for key in ("services", "operations", "task_only", "both_forms", "structures",
                                                 "enumerations", "declared_enumerations", "resource_types")]
    lines.append("fields by type:")
    for name, count in sorted(stats["fields"].items(), key=lambda item: -item[1]):
        lines.append(f"  {name}: {count}")
    return "\n".join(lines)
