"""Links the parsed units into one catalogue: resolves every type reference and checks the rules
that span files. Every problem is collected as `file:line: message`; nothing is rendered while
any remains."""

import os

from . import naming
from .errors import ErrorList
from .model import Enum, Struct, unit_references

MAX_TAG_VALUES = 63  # union tables keep one bit per tag value


def parent_scope(dotted):
    return dotted.rsplit(".", 1)[0] if "." in dotted else ""


class Catalog:
    def __init__(self, units):
        self.units = units
        self.types = {}  # full dotted name -> Struct or Enum
        self.resource_types = set()
        self.errors = ErrorList()

    # Index.
    def index(self):
        seen_units = {}
        for unit in self.units:
            if unit.dotted in seen_units and unit.kind == "service":
                self.errors.add(unit.path, unit.line, f"service '{unit.dotted}' is also described in {seen_units[unit.dotted]}")
            seen_units.setdefault(unit.dotted, unit.path)
            self.resource_types.update(unit.resource_types)
            if unit.resource_type:
                self.resource_types.add(unit.resource_type)
            for enum in unit.enums:
                self.add_type(unit, unit.dotted, enum)
            for struct in unit.structs:
                struct.scope = unit.dotted
                struct.unit = unit
                self.add_type(unit, unit.dotted, struct)
                for enum in struct.enums:
                    enum.owner = struct
                    self.add_type(unit, f"{unit.dotted}.{struct.name}", enum)

    def add_type(self, unit, scope, entity):
        full = f"{scope}.{entity.name}"
        if isinstance(entity, Enum):
            entity.scope = unit.dotted
            entity.unit = unit
        if full in self.types:
            self.errors.add(unit.path, entity.line, f"duplicate name '{entity.name}' in {scope}")
            return
        self.types[full] = entity

    def lookup(self, name, scopes):
        for scope in scopes:
            candidate = f"{scope}.{name}" if scope else name
            if candidate in self.types:
                return self.types[candidate]
        return None

    @staticmethod
    def scopes_of(unit, struct=None):
        scopes = []
        if struct is not None:
            scopes.append(f"{unit.dotted}.{struct.name}")
        scope = unit.dotted
        while scope:
            scopes.append(scope)
            scope = parent_scope(scope)
        scopes.append("")
        return scopes

    # Checks.
    def check(self):
        self.index()
        for unit in self.units:
            self.check_unit(unit)
        return self.errors

    def check_unit(self, unit):
        add = lambda line, message: self.errors.add(unit.path, line, message)
        if not unit.summary:
            add(1, "the first line must be a '//' comment saying what this description is for")
        if unit.kind == "service":
            self.check_service_names(unit, add)
        for enum in unit.enums:
            self.check_enum(enum, add)
        for struct in unit.structs:
            self.check_struct(unit, struct, add)
        names, blocking = set(), {}
        for op in unit.operations:
            if op.name in names:
                add(op.line, f"duplicate operation '{op.name}'")
            names.add(op.name)
            self.check_operation(unit, op, add)
            # The SyncServiceStub names a task form <Op>Task, which another operation may already be.
            for task in (True, False):
                if (op.task_only or op.also_task) if task else not op.task_only:
                    method = naming.blocking_method(op.name, task)
                    first = blocking.setdefault(method, op.name)
                    if first != op.name:
                        add(op.line, f"'{first}' and '{op.name}' have the same blocking method '{method}'")

    def check_service_names(self, unit, add):
        bad = naming.id_breaks_rule(unit.dotted)
        if not any(naming.is_below(unit.dotted, root) for root in naming.SERVICE_ROOTS):
            add(unit.line, f"a service id starts with {' or '.join(repr(root + '.') for root in naming.SERVICE_ROOTS)}")
            return
        if bad:
            add(unit.line, f"service id '{unit.dotted}' breaks the naming rule at '{bad[0]}' (components are snake_case)")
            return
        derived = naming.service_class_path(unit.dotted)
        if unit.class_path is not None and unit.class_path != derived:
            add(unit.class_line, f"class '{'::'.join(unit.class_path)}' is not the class the id names: '{'::'.join(derived)}'")
        expected = naming.service_relative_path(unit.dotted)
        if unit.rel != expected:
            add(unit.line, f"service '{unit.dotted}' belongs in '{expected}.idl', not '{unit.rel}.idl'")

    def check_enum(self, enum, add):
        if not naming.is_type_name(enum.name):
            add(enum.line, f"enumeration name '{enum.name}' is not CamelCase")
        seen = set()
        lines = enum.value_lines or [enum.line] * len(enum.values)
        for value, line in zip(enum.values, lines):
            if not naming.is_enum_value(value):
                add(line, f"enumeration value '{value}' of {enum.name} is not UPPER_SNAKE_CASE")
            if value == "_UNKNOWN" or value in seen:
                add(line, f"enumeration value '{value}' of {enum.name} is reserved or repeated")
            seen.add(value)

    def check_struct(self, unit, struct, add):
        if not naming.is_type_name(struct.name):
            add(struct.line, f"structure name '{struct.name}' is not CamelCase")
        for enum in struct.enums:
            self.check_enum(enum, add)
        seen = {}
        accessors = {}
        for field in struct.fields:
            if not naming.is_field_name(field.name):
                add(field.line, f"field name '{field.name}' is not snake_case")
            if field.name in seen:
                add(field.line, f"duplicate field '{field.name}' in {struct.name}")
            seen[field.name] = field
            accessor = naming.accessor(field.name)
            if accessor in naming.KEYWORDS:
                add(field.line, f"field '{field.name}' would have the C++ keyword '{accessor}' as its accessor")
            if accessor in accessors and accessors[accessor] != field.name:
                add(field.line, f"fields '{accessors[accessor]}' and '{field.name}' have the same accessor '{accessor}'")
            accessors[accessor] = field.name
            self.check_not_void(field.type, add)
            self.resolve(unit, struct, field.type, add)
        for field in struct.fields:
            if field.case:
                self.check_case(struct, field, seen, add)

    def check_case(self, struct, field, fields, add):
        case = field.case
        tag = fields.get(case.tag)
        if tag is None:
            add(case.line, f"union case of '{field.name}' names the tag '{case.tag}', which {struct.name} does not have")
            return
        tag_type = tag.type.args[0] if tag.type.kind == "optional" else tag.type
        if tag_type.kind == "ref" and tag_type.target is None:
            return  # its unknown type is reported already; every case of it would only repeat that
        enum = tag_type.target if tag_type.kind == "ref" else None
        if not isinstance(enum, Enum):
            add(case.line, f"the tag '{case.tag}' of {struct.name} is not an enumeration")
            return
        if tag.case:
            add(case.line, f"the tag '{case.tag}' of {struct.name} is itself a union case")
        if len(enum.values) > MAX_TAG_VALUES:
            add(case.line, f"the tag '{case.tag}' has more than {MAX_TAG_VALUES} values")
        for value in case.values:
            if value not in enum.values:
                add(case.line, f"union case of '{field.name}' names '{value}', which {enum.name} does not have")
        if field.type.kind != "optional":
            add(case.line, f"union case field '{field.name}' must be optional: it is unset in the other cases")

    def check_operation(self, unit, op, add):
        if not naming.is_field_name(op.name) or any(c.isupper() for c in op.name):
            add(op.line, f"operation name '{op.name}' is not snake_case")
        if op.task_only and op.also_task:
            add(op.line, f"operation '{op.name}' is task-only and cannot also have a task form")
        seen = set()
        for param in op.params:
            if not naming.is_field_name(param.name):
                add(param.line, f"parameter name '{param.name}' is not snake_case")
            if param.name in seen:
                add(param.line, f"duplicate parameter '{param.name}' of '{op.name}'")
            if naming.is_reserved_parameter(param.name):
                add(param.line, f"parameter name '{param.name}' is reserved in the generated C++")
            seen.add(param.name)
            self.check_not_void(param.type, add)
            self.resolve(unit, None, param.type, add)
        self.resolve(unit, None, op.result, add)
        op.error_targets = []
        lines = op.error_lines or [op.line] * len(op.errors)
        for name, line in zip(op.errors, lines):
            target = self.lookup(name, [naming.ERRORS_PACKAGE, ""])
            if not isinstance(target, Struct) or not target.is_error:
                add(line, f"'{name}' is not a standard error")
                continue
            if target in op.error_targets:
                add(line, f"error '{name}' is declared twice by '{op.name}'")
            op.error_targets.append(target)

    def resolve(self, unit, struct, type_expr, add):
        if type_expr.kind == "ref":
            target = self.lookup(type_expr.name, self.scopes_of(unit, struct))
            if target is None:
                add(type_expr.line, f"unknown type '{type_expr.name}'")
            elif isinstance(target, Struct) and target.is_error and unit.kind == "service":
                add(type_expr.line, f"'{type_expr.name}' is an error; fields hold errors as dynamic_error")
            type_expr.target = target
        elif type_expr.kind == "id":
            for resource in type_expr.resources:
                if resource not in self.resource_types:
                    add(type_expr.line, f"identifier names the unknown resource type '{resource}'")
        for arg in type_expr.args:
            self.check_not_void(arg, add)
            self.resolve(unit, struct, arg, add)

    @staticmethod
    def check_not_void(type_expr, add):
        if type_expr.kind == "void":
            add(type_expr.line, "void is only a result type")


def load(roots):
    """Parses every .idl file below each (root directory, label) pair. Returns (units, errors)."""
    from .errors import DescriptionError
    from .parser import parse

    units, errors = [], ErrorList()
    for root in roots:
        for directory, _, files in sorted(os.walk(root)):
            for name in sorted(files):
                if not name.endswith(".idl"):
                    continue
                path = os.path.join(directory, name)
                rel = os.path.relpath(path, root)[: -len(".idl")].replace(os.sep, "/")
                try:
                    with open(path, encoding="utf-8") as f:
                        units.append(parse(path, rel, f.read()))
                except DescriptionError as e:
                    errors.add(e.path, e.line, e.message)
                except (OSError, UnicodeDecodeError) as e:
                    errors.add(path, 1, f"cannot read: {e}")
    return units, errors


def closure(units):
    """`units` and every unit their types, operations and errors refer to, in a stable order."""
    seen, order, pending = set(), [], list(units)
    while pending:
        unit = pending.pop()
        if unit in seen:
            continue
        seen.add(unit)
        order.append(unit)
        pending.extend(u for u in unit_references(unit) if u not in seen)
    return sorted(order, key=lambda u: u.path)
