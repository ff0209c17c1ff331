"""What the templates print for one unit, as typed views: every name in them is finished (made by
the rules in naming.py) and every table laid out, so that a template decides only where each goes."""

from dataclasses import dataclass
from typing import ClassVar, Optional, Tuple

from . import naming
from .cpp import DEFAULTS, class_path, container_path, cpp_type, declared_names, qualified, unit_namespace, unit_scope
from .model import nested, unit_references


@dataclass(frozen=True)
class EnumView:
    """An enumeration class: its `name`, the wire texts of its `values` in declaration order, and
    its `enumerators` in the same order (the values themselves, except for UnionTags)."""

    name: str
    values: Tuple[str, ...]
    enumerators: Tuple[str, ...]


@dataclass(frozen=True)
class FieldView:
    """A data member of a structure or of an operation's Input: `wire` its name on the wire,
    `accessor` the name of its getter and setter (and of its constructor parameter), `member` the
    data member itself, `type` its C++ type as written inside the class, `default` its initialiser
    (None: the type's own)."""

    wire: str
    accessor: str
    member: str
    type: str
    default: Optional[str]


@dataclass(frozen=True)
class IdFieldView:
    """An identifier field as metadata records it: its `wire` name and the `resources` it may
    name, listed in the static array `table`."""

    wire: str
    resources: Tuple[str, ...]
    table: str


@dataclass(frozen=True)
class CaseView:
    """A field that belongs to one union case: `wire`, `accessor` and `member` its names, `mask`
    one bit per tag value that selects it (bit i: the tag enumeration's i-th value), `required`
    whether those values demand it set, and `annotation` the enumeration of those values."""

    wire: str
    accessor: str
    member: str
    mask: int
    required: bool
    annotation: EnumView


@dataclass(frozen=True)
class UnionView:
    """One tag field of a structure and the cases that depend on it: `tag_wire`, `tag_accessor`
    and `tag_member` the tag's names, `enum` its enumeration class from the global namespace,
    `unknown` the index its _UNKNOWN value has, and `cases_table` the static array of its cases."""

    tag_wire: str
    tag_accessor: str
    tag_member: str
    enum: str
    unknown: int
    cases: Tuple[CaseView, ...]
    cases_table: str


@dataclass(frozen=True)
class StructView:
    """A structure: `name` as declared, `qualified` from the global namespace, `canonical` its wire
    name, `definition_name` the name its metadata records; `fields` in declaration order, of which
    `required` are the constructor's, and `id_fields` its identifiers. Beside it, the companion
    `enumerations_class` holds its `enums`, and the `annotations_class` its `union_tags` (None
    without `unions`) and each case's annotation."""

    name: str
    qualified: str
    canonical: str
    definition_name: str
    is_error: bool
    fields: Tuple[FieldView, ...]
    required: Tuple[FieldView, ...]
    id_fields: Tuple[IdFieldView, ...]
    enumerations_class: str
    enums: Tuple[EnumView, ...]
    annotations_class: str
    unions: Tuple[UnionView, ...]
    union_tags: Optional[EnumView]
    is_input: ClassVar[bool] = False


@dataclass(frozen=True)
class InputView:
    """An operation's parameters as one structure, its Method's Input: `qualified` from the global
    namespace, `fields` public, one per parameter. It prints through the structure templates, so it
    answers their questions the same way for every operation."""

    qualified: str
    fields: Tuple[FieldView, ...]
    canonical: ClassVar[str] = naming.INPUT_CANONICAL
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
class FormView:
    """One form an operation is served in, plain or `task`, the binder's `builder` for it and the
    SyncServiceStub's `blocking` method."""

    task: bool
    builder: str
    blocking: str


@dataclass(frozen=True)
class ErrorListView:
    """The error `types` that some operations declare, as the static list `name` they share."""

    name: str
    types: Tuple[str, ...]


@dataclass(frozen=True)
class OperationView:
    """An operation: `wire` its name, `name` its C++ method, `method` its Method class, `qualified`
    the method from the global namespace; `result` its result type and `returned` what a blocking
    call of the plain form returns (void for no result); `plain` and `task` the forms it has, `forms` them in
    order; `error_list` the name of the list of errors it declares (None: it declares none);
    `input` its parameters as one structure."""

    wire: str
    name: str
    method: str
    qualified: str
    params: Tuple[ParamView, ...]
    result: str
    returned: str
    plain: bool
    task: bool
    forms: Tuple[FormView, ...]
    error_list: Optional[str]
    input: InputView


@dataclass(frozen=True)
class UnitView:
    """One description, printed as one header and one source: `dotted` its id, `header` its own
    include path and `includes` those of the units it uses, `namespace` what encloses its types.
    A service has a `class_name` (inside the namespace), its `class_path` below its root namespace,
    its operations' distinct `error_lists`, and the names of its source's statics: its
    `operations_table`, its catalogue `service_entry` and that entry's `registration`; a package
    has none of these. `qualified_class` is where its types live, from the global namespace."""

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
    error_lists: Tuple[ErrorListView, ...]
    operations_table: Optional[str]
    service_entry: Optional[str]
    registration: Optional[str]


def resource_types(t):
    """The resource types of an identifier, looking through containers."""
    return next((tuple(n.resources) for n in nested(t) if n.kind == "id" and n.resources), ())


def enum_view(name, values, enumerators=None):
    """An enumeration whose enumerators are its wire texts, unless given."""
    return EnumView(name, tuple(values), tuple(enumerators or values))


def field_view(name, t, scope, member):
    """A field or parameter named `name` of type `t`, held in the data member `member`."""
    return FieldView(wire=name, accessor=naming.accessor(name), member=member, type=cpp_type(t, scope),
                     default=DEFAULTS.get(t.kind))


def id_field_views(fields):
    """The identifier fields among `fields`, each with its numbered table of resource types."""
    found = [(f.name, resource_types(f.type)) for f in fields]
    found = [(name, resources) for name, resources in found if resources]
    return tuple(IdFieldView(name, resources, naming.resource_types_table(i))
                 for i, (name, resources) in enumerate(found))


def union_views(struct):
    """A structure's unions, one per tag field in the order the cases first name them."""
    by_name = {f.name: f for f in struct.fields}
    tags = list(dict.fromkeys(f.case.tag for f in struct.fields if f.case))
    unions = []
    for i, tag in enumerate(tags):
        tag_type = by_name[tag].type
        enum = (tag_type.args[0] if tag_type.kind == "optional" else tag_type).target
        cases = tuple(case_view(f, enum) for f in struct.fields if f.case and f.case.tag == tag)
        unions.append(UnionView(tag_wire=tag, tag_accessor=naming.accessor(tag), tag_member=naming.member(tag),
                                enum=qualified(enum), unknown=len(enum.values), cases=cases,
                                cases_table=naming.union_cases_table(i)))
    return tuple(unions)


def case_view(field, enum):
    """A union case; its mask has bit i for the tag's i-th value, so that the runtime checks a tag
    against a case with one AND (a tag has at most 63 values)."""
    mask = 0
    for value in field.case.values:
        mask |= 1 << enum.values.index(value)
    return CaseView(wire=field.name, accessor=naming.accessor(field.name), member=naming.member(field.name),
                    mask=mask, required=field.case.required,
                    annotation=enum_view(naming.union_cases_class(field.name), field.case.values))


def union_tags(unions):
    """The UnionTags enumeration of a structure's tag fields, or None without unions."""
    if not unions:
        return None
    tags = [u.tag_wire for u in unions]
    return enum_view(naming.UNION_TAGS, tags, [naming.upper_snake(t) for t in tags])


def struct_view(unit, struct, scope):
    """A structure of `unit`, its types named as written inside `scope`."""
    fields = tuple(field_view(f.name, f.type, scope, naming.member(f.name)) for f in struct.fields)
    unions = union_views(struct)
    return StructView(
        name=struct.name,
        qualified=qualified(struct),
        canonical=naming.canonical_struct_name(unit.dotted, struct.name, struct.wire),
        definition_name=naming.definition_name(unit.dotted, struct.name, unit.kind == "service",
                                               unit.definition_name),
        is_error=struct.is_error,
        fields=fields,
        required=tuple(v for f, v in zip(struct.fields, fields) if f.type.kind != "optional"),
        id_fields=id_field_views(struct.fields),
        enumerations_class=naming.enumerations_class(struct.name),
        enums=tuple(enum_view(e.name, e.values) for e in struct.enums),
        annotations_class=naming.annotations_class(struct.name),
        unions=unions,
        union_tags=union_tags(unions),
    )


def input_view(op, container, scope):
    """An operation's Input: its parameters as public fields, named as accessors are."""
    fields = tuple(field_view(p.name, p.type, scope, naming.accessor(p.name)) for p in op.params)
    return InputView(qualified=naming.absolute(container + [naming.method_class(op.name), naming.INPUT_CLASS]),
                     fields=fields)


def operation_view(unit, op, scope, error_list):
    """An operation of service `unit`; `error_list` names the shared list of its errors."""
    container = container_path(unit)
    plain, task = not op.task_only, op.task_only or op.also_task
    forms = [form for form, served in ((False, plain), (True, task)) if served]
    return OperationView(
        wire=op.name,
        name=naming.operation_method(op.name),
        method=naming.method_class(op.name),
        qualified=naming.absolute(container + [naming.operation_method(op.name)]),
        params=tuple(ParamView(naming.accessor(p.name), cpp_type(p.type, scope)) for p in op.params),
        result=cpp_type(op.result, scope),
        returned="void" if op.result.kind == "void" else cpp_type(op.result, scope),
        plain=plain,
        task=task,
        forms=tuple(FormView(t, naming.method_builder(op.name, t), naming.blocking_method(op.name, t)) for t in forms),
        error_list=error_list,
        input=input_view(op, container, scope),
    )


def unit_view(unit, prefix, declared=None):
    """What the templates print for `unit`; `declared` (declared_names of the whole catalogue) lets
    types be named relatively."""
    declared = declared if declared is not None else declared_names([unit])
    scope = unit_scope(unit, declared)
    service = unit.kind == "service"
    class_name = class_path(unit)[-1] if service else None
    errors = [tuple(scope.name(e) for e in op.error_targets) for op in unit.operations]
    # Operations of a service mostly declare the same errors: each distinct list is emitted once.
    distinct = list(dict.fromkeys(e for e in errors if e))
    names = {e: naming.error_list(class_name, i) for i, e in enumerate(distinct)}
    return UnitView(
        kind=unit.kind,
        dotted=unit.dotted,
        summary=unit.summary,
        header=naming.header(prefix, unit.rel),
        includes=tuple(sorted(naming.header(u.prefix, u.rel) for u in unit_references(unit))),
        namespace=tuple(unit_namespace(unit)),
        class_name=class_name,
        class_path=naming.scoped(class_path(unit)) if service else None,
        qualified_class=naming.absolute(container_path(unit)),
        resource_type=unit.resource_type,
        enums=tuple(enum_view(e.name, e.values) for e in unit.enums),
        structs=tuple(struct_view(unit, s, scope) for s in unit.structs),
        operations=tuple(operation_view(unit, op, scope, names.get(e)) for op, e in zip(unit.operations, errors)),
        error_lists=tuple(ErrorListView(name, e) for e, name in names.items()),
        operations_table=naming.operations_table(class_name) if service else None,
        service_entry=naming.service_entry(class_name) if service else None,
        registration=naming.registration(class_name) if service else None,
    )
