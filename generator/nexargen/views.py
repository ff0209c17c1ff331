"""What the templates print for one unit, as typed views: every name in them is finished and
every table laid out, so that a template decides only where each goes."""

from dataclasses import dataclass
from typing import ClassVar, Optional, Tuple

from . import naming
from .cpp import DEFAULTS, class_path, container_path, cpp_type, declared_names, qualified, unit_namespace, unit_scope
from .model import nested, unit_references


def definition_name(unit, struct):
    """The interface-definition name that metadata records ("...vt_containers.Mappings.Info")."""
    if unit.kind == "service":
        parent = unit.dotted.rsplit(".", 1)[0]
        last = unit.dotted.rsplit(".", 1)[1]
        return f"{parent}.{unit.definition_name or naming.camel(last.lower())}.{struct.name}"
    return f"{unit.dotted}.{struct.name}"


def upper_snake(text):
    return naming.snake(naming.camel(text)).upper() if text.islower() or "_" in text else text.upper()


@dataclass(frozen=True)
class EnumView:
    """An enumeration class: its `name` and the wire texts of its `values`, in declaration order
    (which is also the order of its enumerators)."""

    name: str
    values: Tuple[str, ...]


@dataclass(frozen=True)
class FieldView:
    """A data member of a structure or of an operation's Input: `wire` its name on the wire,
    `accessor` the name of its getter and setter (and of its constructor parameter), `member` the
    data member itself, `type` its C++ type as written inside the class, `default` its initialiser
    (None: the type's own), `resources` the resource types an identifier field names."""

    wire: str
    accessor: str
    member: str
    type: str
    default: Optional[str]
    resources: Tuple[str, ...]


@dataclass(frozen=True)
class CaseView:
    """A field that belongs to one union case: `wire` its name, `member` its accessor as the union
    table names it, `mask` one bit per tag value that selects it (bit i: the tag enumeration's i-th
    value), `required` whether those values demand it set, `values` the tag values, and
    `annotation` the enumeration class that lists them."""

    wire: str
    member: str
    mask: int
    required: bool
    values: Tuple[str, ...]
    annotation: str


@dataclass(frozen=True)
class UnionView:
    """One tag field of a structure and the cases that depend on it: `tag_wire` and `tag_member`
    its wire and accessor names, `enum` its enumeration class, fully qualified, and `unknown` the
    index its _UNKNOWN value has."""

    tag_wire: str
    tag_member: str
    enum: str
    unknown: int
    cases: Tuple[CaseView, ...]


@dataclass(frozen=True)
class TagView:
    """A tag field as an enumerator of the structure's UnionTags: its wire `text` and its
    `enumerator`."""

    text: str
    enumerator: str


@dataclass(frozen=True)
class StructView:
    """A structure: `name` as declared, `qualified` from the global namespace, `canonical` its wire
    name, `definition_name` the name its metadata records; `fields` in declaration order, of which
    `required` are the constructor's and `id_fields` carry resource types; `unions`, with the tag
    fields as `tags`; `enums` the enumerations it declares in its companion class."""

    name: str
    qualified: str
    canonical: str
    definition_name: str
    is_error: bool
    fields: Tuple[FieldView, ...]
    required: Tuple[FieldView, ...]
    unions: Tuple[UnionView, ...]
    tags: Tuple[TagView, ...]
    id_fields: Tuple[FieldView, ...]
    enums: Tuple[EnumView, ...]
    is_input: ClassVar[bool] = False


@dataclass(frozen=True)
class InputView:
    """An operation's parameters as one structure, its Method's Input: `qualified` from the global
    namespace, `fields` public, one per parameter. It prints through the structure templates, so it
    answers their questions the same way for every operation."""

    qualified: str
    fields: Tuple[FieldView, ...]
    canonical: ClassVar[str] = "operation-input"
    is_input: ClassVar[bool] = True
    is_error: ClassVar[bool] = False
    unions: ClassVar[Tuple[UnionView, ...]] = ()


@dataclass(frozen=True)
class ParamView:
    """A parameter of an operation's C++ methods: its `name` and its `type` as written inside the
    service class."""

    name: str
    type: str


@dataclass(frozen=True)
class OperationView:
    """An operation: `wire` its name, `name` its C++ method, `method` its Method class, `qualified`
    the method from the global namespace; `plain` and `task` the forms it has; `errors` the error
    types it declares, whose list in the service's `error_lists` is number `error_list` (None: it
    declares none); `input` its parameters as one structure."""

    wire: str
    name: str
    method: str
    qualified: str
    params: Tuple[ParamView, ...]
    result: str
    plain: bool
    task: bool
    errors: Tuple[str, ...]
    error_list: Optional[int]
    input: InputView


@dataclass(frozen=True)
class UnitView:
    """One description, printed as one header and one source: `dotted` its id, `header` its own
    include path and `includes` those of the units it uses, `namespace` what encloses its types
    (the service class is inside it). A service has a `class_name`, its `class_path` below its root
    namespace, its class from the global namespace as `qualified_class`, and its operations'
    distinct error lists as `error_lists`; a package has none of these."""

    kind: str
    dotted: str
    summary: str
    header: str
    includes: Tuple[str, ...]
    namespace: Tuple[str, ...]
    class_name: Optional[str]
    class_path: Optional[str]
    qualified_class: str
    resource_type: Optional[str]
    enums: Tuple[EnumView, ...]
    structs: Tuple[StructView, ...]
    operations: Tuple[OperationView, ...]
    error_lists: Tuple[Tuple[str, ...], ...]


def resource_types(t):
    """The resource types of an identifier, looking through containers."""
    return next((list(n.resources) for n in nested(t) if n.kind == "id" and n.resources), [])


def enum_view(enum):
    return EnumView(enum.name, tuple(enum.values))


def field_view(name, t, scope, member):
    """A field or parameter named `name` of type `t`, held in the data member `member`."""
    return FieldView(wire=name, accessor=naming.lower_camel(name), member=member, type=cpp_type(t, scope),
                     default=DEFAULTS.get(t.kind), resources=tuple(resource_types(t)))


def union_views(struct):
    """A structure's unions, one per tag field in the order the cases first name them."""
    by_name = {f.name: f for f in struct.fields}
    tags = list(dict.fromkeys(f.case.tag for f in struct.fields if f.case))
    unions = []
    for tag in tags:
        tag_type = by_name[tag].type
        enum = (tag_type.args[0] if tag_type.kind == "optional" else tag_type).target
        cases = tuple(case_view(f, enum) for f in struct.fields if f.case and f.case.tag == tag)
        unions.append(UnionView(tag_wire=tag, tag_member=naming.lower_camel(tag), enum=qualified(enum),
                                unknown=len(enum.values), cases=cases))
    return tuple(unions)


def case_view(field, enum):
    mask = 0
    for value in field.case.values:
        mask |= 1 << enum.values.index(value)
    return CaseView(wire=field.name, member=naming.lower_camel(field.name), mask=mask,
                    required=field.case.required, values=tuple(field.case.values),
                    annotation=naming.camel(field.name) + "UnionCases")


def struct_view(unit, struct, scope):
    fields = tuple(field_view(f.name, f.type, scope, naming.lower_camel(f.name) + "_") for f in struct.fields)
    unions = union_views(struct)
    return StructView(
        name=struct.name,
        qualified=qualified(struct),
        canonical=naming.canonical_struct_name(unit.dotted, struct.name, struct.wire),
        definition_name=definition_name(unit, struct),
        is_error=struct.is_error,
        fields=fields,
        required=tuple(v for f, v in zip(struct.fields, fields) if f.type.kind != "optional"),
        unions=unions,
        tags=tuple(TagView(u.tag_wire, upper_snake(u.tag_wire)) for u in unions),
        id_fields=tuple(v for v in fields if v.resources),
        enums=tuple(enum_view(e) for e in struct.enums),
    )


def input_view(op, container, scope):
    """An operation's Input: its parameters as public fields, under the common input name."""
    method = naming.camel(op.name) + "Method"
    fields = tuple(field_view(p.name, p.type, scope, naming.lower_camel(p.name)) for p in op.params)
    return InputView(qualified=f"{container}::{method}::Input", fields=fields)


def operation_view(unit, op, scope, errors, error_list):
    container = "::" + "::".join(container_path(unit))
    return OperationView(
        wire=op.name,
        name=naming.camel(op.name),
        method=naming.camel(op.name) + "Method",
        qualified=f"{container}::{naming.camel(op.name)}",
        params=tuple(ParamView(naming.lower_camel(p.name), cpp_type(p.type, scope)) for p in op.params),
        result=cpp_type(op.result, scope),
        plain=not op.task_only,
        task=op.task_only or op.also_task,
        errors=errors,
        error_list=error_list,
        input=input_view(op, container, scope),
    )


def unit_view(unit, prefix, declared=None):
    """What the templates print for `unit`; `declared` (declared_names of the whole catalogue) lets
    types be named relatively."""
    declared = declared if declared is not None else declared_names([unit])
    scope = unit_scope(unit, declared)
    errors = [tuple(scope.name(e) for e in op.error_targets) for op in unit.operations]
    # Operations of a service mostly declare the same errors: each distinct list is emitted once.
    error_lists = tuple(dict.fromkeys(e for e in errors if e))
    service = unit.kind == "service"
    return UnitView(
        kind=unit.kind,
        dotted=unit.dotted,
        summary=unit.summary,
        header=f"{prefix}/{unit.rel}.h",
        includes=tuple(sorted(f"{u.prefix}/{u.rel}.h" for u in unit_references(unit))),
        namespace=tuple(unit_namespace(unit)),
        class_name=class_path(unit)[-1] if service else None,
        class_path="::".join(class_path(unit)) if service else None,
        qualified_class="::" + "::".join(container_path(unit)),
        resource_type=unit.resource_type,
        enums=tuple(enum_view(e) for e in unit.enums),
        structs=tuple(struct_view(unit, s, scope) for s in unit.structs),
        operations=tuple(operation_view(unit, op, scope, e, error_lists.index(e) if e else None)
                         for op, e in zip(unit.operations, errors)),
        error_lists=error_lists,
    )
