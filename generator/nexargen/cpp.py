"""The C++ view of a checked catalogue: names, types and tables that the templates print. The
templates decide the shape of the output; this module decides every name in it."""

from . import naming
from .model import Enum, Struct, unit_references

PRIMITIVE_TYPES = {
    "string": "std::string", "uri": "std::string", "id": "std::string", "long": "int64_t", "bool": "bool",
    "double": "double", "secret": "::Opax::SecretString", "datetime": "::Opax::DateTime",
    "binary": "std::vector<unsigned char>", "void": "::Opax::Void",
    "dynamic_structure": "::Opax::Data::DynamicStructure", "dynamic_error": "::Opax::Data::DynamicError",
}

DEFAULTS = {"long": "0", "bool": "false", "double": "0.0"}


def unit_namespace(unit):
    if unit.kind == "service":
        return naming.service_namespace(unit.dotted) + class_path(unit)[:-1]
    return naming.package_namespace(unit.dotted)


def class_path(unit):
    return unit.class_path or naming.service_class_path(unit.dotted)


def container_path(unit):
    """Where a unit's types live: the service class, or the package namespace."""
    if unit.kind == "service":
        return naming.service_namespace(unit.dotted) + class_path(unit)
    return naming.package_namespace(unit.dotted)


def qualified(entity):
    path = container_path(entity.unit)
    if isinstance(entity, Enum) and entity.owner is not None:
        path = path + [entity.owner.name + "Enumerations"]
    return "::" + "::".join(path + [entity.name])


# Names that generated classes declare inside a service class: a type of the service with one of
# these names cannot be named relatively where they are in scope.
SERVICE_MEMBERS = {"Constants", "Input", "Member", "GetInstance", "AsyncServiceInterface", "AsyncServiceStub",
                   "AsyncServiceBinderHelper", "AsyncServiceBinder"}


def declared_names(units):
    """What each namespace declares, over the whole catalogue: child namespaces, service classes and
    package types (with their companion classes), keyed by the namespace's path as a tuple."""
    names = {}
    for unit in units:
        namespace = unit_namespace(unit)
        for depth in range(len(namespace)):
            names.setdefault(tuple(namespace[:depth]), set()).add(namespace[depth])
        own = names.setdefault(tuple(namespace), set())
        if unit.kind == "service":
            own.add(class_path(unit)[-1])
        else:
            own.update(unit_type_names(unit))
    return names


def unit_type_names(unit):
    """The names a unit declares for its types: structures, enumerations and companion classes."""
    found = {e.name for e in unit.enums}
    for struct in unit.structs:
        found.update({struct.name, struct.name + "Enumerations", struct.name + "Annotations"})
    return found


class Scope:
    """Where a C++ type is written: inside `unit`'s service class (or package namespace). A type is
    named by the shortest path that C++ lookup from there resolves to it: nothing nearer may declare
    the path's first name (`declared`: what each namespace declares; `hidden`: names that generated
    classes declare inside the service class)."""

    def __init__(self, unit, declared, hidden=()):
        self.namespace = unit_namespace(unit)
        self.declared = declared
        self.hidden = set(hidden)
        self.members = set()  # what the service class declares
        self.path = self.namespace
        if unit.kind == "service":
            self.members = unit_type_names(unit) | self.hidden
            self.path = container_path(unit)

    def name(self, entity):
        target = container_path(entity.unit)
        if isinstance(entity, Enum) and entity.owner is not None:
            target = target + [entity.owner.name + "Enumerations"]
        target = target + [entity.name]
        inside_class = len(self.path) > len(self.namespace)
        if inside_class and target[:len(self.path)] == self.path and target[len(self.path)] not in self.hidden:
            return "::".join(target[len(self.path):])
        # Never shorter than below the root (Com::Quarn::Nexar, Com::Quarn::Opax, ...): a path that
        # starts with "Opax" would read as the runtime's ::Opax.
        for depth in range(len(self.namespace), 2, -1):
            if target[:depth] != self.namespace[:depth] or len(target) <= depth:
                continue
            nearer = set(self.members)
            for inner in range(depth + 1, len(self.namespace) + 1):
                nearer |= self.declared.get(tuple(self.namespace[:inner]), set())
            if target[depth] not in nearer:
                return "::".join(target[depth:])
        return "::" + "::".join(target)


def unit_scope(unit, declared):
    hidden = set(SERVICE_MEMBERS)
    for op in unit.operations:
        hidden.update({naming.camel(op.name), naming.camel(op.name) + "Method"})
    return Scope(unit, declared, hidden)


def cpp_type(t, scope=None):
    """The C++ type of `t`: fully qualified, or as written inside `scope`."""
    name = scope.name if scope else qualified
    if t.kind in PRIMITIVE_TYPES:
        return PRIMITIVE_TYPES[t.kind]
    if t.kind == "ref":
        if isinstance(t.target, Struct):
            return f"std::shared_ptr<{name(t.target)} const>"
        return name(t.target)
    inner = t.args[-1]
    if t.kind == "optional":
        if inner.kind == "ref" and isinstance(inner.target, Struct):
            return f"::Opax::OptionalPtr<{name(inner.target)} const>"
        return f"boost::optional<{cpp_type(inner, scope)}>"
    if t.kind == "list":
        return f"std::list<{cpp_type(inner, scope)}>"
    if t.kind == "set":
        return f"std::set<{cpp_type(inner, scope)}>"
    if t.kind == "map":
        return f"std::map<std::string, {cpp_type(inner, scope)}>"
    raise ValueError(f"no C++ type for {t.kind}")


def resource_types(t):
    """The resource types of an identifier, looking through containers."""
    if t.kind == "id":
        return list(t.resources)
    for arg in t.args:
        found = resource_types(arg)
        if found:
            return found
    return []


def definition_name(unit, struct):
    """The interface-definition name that metadata records ("...vt_containers.Mappings.Info")."""
    if unit.kind == "service":
        parent = unit.dotted.rsplit(".", 1)[0]
        last = unit.dotted.rsplit(".", 1)[1]
        return f"{parent}.{unit.definition_name or naming.camel(last.lower())}.{struct.name}"
    return f"{unit.dotted}.{struct.name}"


def enum_view(name, values):
    return {"name": name, "values": values, "count": len(values)}


def upper_snake(text):
    return naming.snake(naming.camel(text)).upper() if text.islower() or "_" in text else text.upper()


def struct_view(unit, struct, declared):
    scope = unit_scope(unit, declared)
    fields = []
    by_name = {f.name: f for f in struct.fields}
    tags = []  # tag field names in order of first use
    for f in struct.fields:
        accessor = naming.lower_camel(f.name)
        fields.append({
            "wire": f.name,
            "accessor": accessor,
            "member": accessor + "_",
            "type": cpp_type(f.type, scope),
            "default": DEFAULTS.get(f.type.kind),
            "optional": f.type.kind == "optional",
            "resources": resource_types(f.type),
        })
        if f.case and f.case.tag not in tags:
            tags.append(f.case.tag)
    unions = []
    for tag in tags:
        tag_field = by_name[tag]
        tag_type = tag_field.type.args[0] if tag_field.type.kind == "optional" else tag_field.type
        enum = tag_type.target
        cases = []
        for f in struct.fields:
            if f.case and f.case.tag == tag:
                mask = 0
                for value in f.case.values:
                    mask |= 1 << enum.values.index(value)
                cases.append({"wire": f.name, "member": naming.lower_camel(f.name), "mask": mask,
                              "required": f.case.required, "values": f.case.values,
                              "annotation": naming.camel(f.name) + "UnionCases"})
        unions.append({"tag_wire": tag, "tag_member": naming.lower_camel(tag), "enum": qualified(enum),
                       "unknown": len(enum.values), "cases": cases})
    required = [f for f in fields if not f["optional"]]
    return {
        "name": struct.name,
        "qualified": qualified(struct),
        "canonical": naming.canonical_struct_name(unit.dotted, struct.name, struct.wire),
        "definition_name": definition_name(unit, struct),
        "is_error": struct.is_error,
        "is_input": False,
        "fields": fields,
        "required": required,
        "unions": unions,
        "tags": [{"text": t, "enumerator": upper_snake(t)} for t in tags],
        "id_fields": [f for f in fields if f["resources"]],
        "enums": [enum_view(e.name, e.values) for e in struct.enums],
    }


def input_view(unit, op, container, scope):
    """An operation's Input: its parameters as public fields, under the common input name."""
    method = naming.camel(op.name) + "Method"
    fields = []
    for p in op.params:
        accessor = naming.lower_camel(p.name)
        fields.append({"wire": p.name, "accessor": accessor, "member": accessor, "type": cpp_type(p.type, scope),
                       "default": DEFAULTS.get(p.type.kind), "optional": p.type.kind == "optional",
                       "resources": resource_types(p.type)})
    return {
        "name": "Input",
        "qualified": f"{container}::{method}::Input",
        "canonical": "operation-input",
        "is_input": True,
        "is_error": False,
        "fields": fields,
        "required": [],
        "unions": [],
        "tags": [],
        "id_fields": [],
        "enums": [],
    }


def operation_view(unit, op, declared):
    container = "::" + "::".join(container_path(unit))
    scope = unit_scope(unit, declared)
    result = cpp_type(op.result, scope)
    return {
        "wire": op.name,
        "name": naming.camel(op.name),
        "method": naming.camel(op.name) + "Method",
        "qualified": f"{container}::{naming.camel(op.name)}",
        "params": [{"wire": p.name, "name": naming.lower_camel(p.name), "type": cpp_type(p.type, scope)}
                   for p in op.params],
        "result": result,
        "plain": not op.task_only,
        "task": op.task_only or op.also_task,
        "errors": [scope.name(e) for e in op.error_targets],
        "task_name": op.name + naming.TASK_SUFFIX,
        "input": input_view(unit, op, container, scope),
    }


def unit_view(unit, prefix, declared=None):
    """What the templates print for `unit`; `declared` (declared_names of the whole catalogue) lets
    types be named relatively."""
    declared = declared if declared is not None else declared_names([unit])
    referenced = unit_references(unit)
    operations = [operation_view(unit, op, declared) for op in unit.operations]
    # Operations of a service mostly declare the same errors: each distinct list is emitted once.
    error_lists = []
    for op in operations:
        if op["errors"] and op["errors"] not in error_lists:
            error_lists.append(op["errors"])
        op["error_list"] = error_lists.index(op["errors"]) if op["errors"] else None
    view = {
        "kind": unit.kind,
        "dotted": unit.dotted,
        "summary": unit.summary,
        "header": f"{prefix}/{unit.rel}.h",
        "includes": sorted(f"{u.prefix}/{u.rel}.h" for u in referenced),
        "namespace": unit_namespace(unit),
        "class_name": class_path(unit)[-1] if unit.kind == "service" else None,
        "resource_type": unit.resource_type,
        "enums": [enum_view(e.name, e.values) for e in unit.enums],
        "structs": [struct_view(unit, s, declared) for s in unit.structs],
        "operations": operations,
        "error_lists": error_lists,
        "qualified_class": "::" + "::".join(container_path(unit)),
        "class_path": "::".join(class_path(unit)) if unit.kind == "service" else None,
        "symbol": unit.dotted.replace(".", "_"),
    }
    return view
