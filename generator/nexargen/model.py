"""What a description says, as plain objects. The parser fills them; the resolver links type
references and checks the whole; the renderer reads them."""

from dataclasses import dataclass, field as dc_field
from typing import List, Optional


@dataclass(eq=False)
class TypeExpr:
    """A written type: a primitive or container keyword with arguments, or a reference by name."""

    kind: str  # "string", "long", ..., "id", "optional", "list", "set", "map", "ref"
    line: int
    args: List["TypeExpr"] = dc_field(default_factory=list)
    name: str = ""  # for "ref": the written name; for "id": unused
    resources: List[str] = dc_field(default_factory=list)  # for "id"
    target: object = None  # for "ref": the resolved Struct or Enum


@dataclass(eq=False)
class Case:
    tag: str
    values: List[str]
    required: bool
    line: int


@dataclass(eq=False)
class Field:
    name: str
    type: TypeExpr
    line: int
    case: Optional[Case] = None


@dataclass(eq=False)
class Enum:
    name: str
    values: List[str]
    line: int
    value_lines: List[int] = dc_field(default_factory=list)  # one per value
    scope: str = ""  # dotted scope (service id or package)
    owner: object = None  # the Struct that declares it, for <Struct>Enumerations
    unit: object = None


@dataclass(eq=False)
class Struct:
    name: str
    fields: List[Field]
    enums: List[Enum]
    line: int
    wire: Optional[str] = None
    is_error: bool = False
    scope: str = ""
    unit: object = None
    is_input: bool = False  # an operation's Input structure


@dataclass(eq=False)
class Param:
    name: str
    type: TypeExpr
    line: int


@dataclass(eq=False)
class Operation:
    name: str
    params: List[Param]
    result: TypeExpr
    line: int
    task_only: bool = False
    also_task: bool = False
    errors: List[str] = dc_field(default_factory=list)
    error_lines: List[int] = dc_field(default_factory=list)  # one per error name
    error_targets: list = dc_field(default_factory=list)


@dataclass(eq=False)
class Unit:
    """One description file: a service or a package."""

    path: str  # as given, for messages
    rel: str  # path below its root, without ".idl"
    kind: str  # "service" or "package"
    dotted: str  # the service id or package name
    line: int
    class_path: Optional[List[str]] = None  # written `class` setting, split at "::"
    class_line: int = 0
    resource_type: Optional[str] = None
    definition_name: Optional[str] = None
    enums: List[Enum] = dc_field(default_factory=list)
    structs: List[Struct] = dc_field(default_factory=list)
    operations: List[Operation] = dc_field(default_factory=list)
    resource_types: List[str] = dc_field(default_factory=list)
    summary: str = ""  # the first comment line


def nested(type_expr):
    """The written type and every type inside it, outermost first, left to right (walked with a
    stack: a description decides how deep types nest)."""
    pending = [type_expr]
    while pending:
        t = pending.pop()
        yield t
        pending.extend(reversed(t.args))


def unit_references(unit):
    """The other units whose types, results or errors `unit` uses. One walk serves a header's
    includes and the closure of the units an area needs, so the two cannot disagree."""
    written = [f.type for s in unit.structs for f in s.fields]
    for op in unit.operations:
        written.extend(p.type for p in op.params)
        written.append(op.result)
    referenced = {n.target.unit for t in written for n in nested(t) if n.kind == "ref" and n.target is not None}
    referenced.update(e.unit for op in unit.operations for e in op.error_targets)
    referenced.discard(unit)
    return referenced
