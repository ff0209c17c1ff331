"""C++ names for a checked catalogue's entities: where each unit's types live, and how a type is
written from inside a given service class or package namespace."""

from . import naming
from .model import Enum, Struct

PRIMITIVE_TYPES = {
    "string": "std::string", "uri": "std::string", "id": "std::string", "long": "int64_t", "bool": "bool",
    "double": "double", "secret": "::Opax::SecretString", "datetime": "::Opax::DateTime",
    "binary": "std::vector<unsigned char>", "void": "::Opax::Void",
    "dynamic_structure": "::Opax::Data::DynamicStructure", "dynamic_error": "::Opax::Data::DynamicError",
}

# Initialisers of members whose type would otherwise start indeterminate.
DEFAULTS = {"long": "0", "bool": "false", "double": "0.0"}


def unit_namespace(unit):
    """The namespaces around a unit's declarations; a service's class is declared inside them."""
    if unit.kind == "service":
        return naming.service_namespace(unit.dotted) + class_path(unit)[:-1]
    return naming.package_namespace(unit.dotted)


def class_path(unit):
    """A service's class path below its root namespace: the one its description writes (checked to
    be the one its id gives) or the one its id gives."""
    return unit.class_path or naming.service_class_path(unit.dotted)


def container_path(unit):
    """Where a unit's types live: the service class, or the package namespace."""
    if unit.kind == "service":
        return naming.service_namespace(unit.dotted) + class_path(unit)
    return naming.package_namespace(unit.dotted)


def type_path(entity):
    """The C++ path of a structure or enumeration; a structure's enumerations are in its companion."""
    path = container_path(entity.unit)
    if isinstance(entity, Enum) and entity.owner is not None:
        path = path + [naming.enumerations_class(entity.owner.name)]
    return path + [entity.name]


def qualified(entity):
    """A structure or enumeration named from the global namespace, as code outside any scope must."""
    return naming.absolute(type_path(entity))


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
        found.update({struct.name, naming.enumerations_class(struct.name), naming.annotations_class(struct.name)})
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
        target = type_path(entity)
        inside_class = len(self.path) > len(self.namespace)
        if inside_class and target[:len(self.path)] == self.path and target[len(self.path)] not in self.hidden:
            return naming.scoped(target[len(self.path):])
        for depth in range(len(self.namespace), naming.ROOT_DEPTH - 1, -1):  # never above the root
            if target[:depth] != self.namespace[:depth] or len(target) <= depth:
                continue
            nearer = set(self.members)
            for inner in range(depth + 1, len(self.namespace) + 1):
                nearer |= self.declared.get(tuple(self.namespace[:inner]), set())
            if target[depth] not in nearer:
                return naming.scoped(target[depth:])
        return naming.absolute(target)


def unit_scope(unit, declared):
    hidden = set(naming.SERVICE_MEMBERS)
    for op in unit.operations:
        hidden.update({naming.operation_method(op.name), naming.method_class(op.name)})
    return Scope(unit, declared, hidden)


# The C++ templates that containers become, around their element's type. A map's keys are
# always strings: its element is its last argument, as for the others.
CONTAINERS = {"optional": "boost::optional<{}>", "list": "std::list<{}>", "set": "std::set<{}>",
              "map": "std::map<std::string, {}>"}


def cpp_type(t, scope=None):
    """The C++ type of `t`: fully qualified, or as written inside `scope`. Containers are unwrapped
    in a loop, since a description decides how deep they nest."""
    name = scope.name if scope else qualified
    wrappers = []
    while t.kind in CONTAINERS and not is_optional_structure(t):
        wrappers.append(CONTAINERS[t.kind])
        t = t.args[-1]
    text = innermost_type(t, name)
    for wrapper in reversed(wrappers):
        text = wrapper.format(text)
    return text


def is_optional_structure(t):
    """An optional structure is a nullable pointer, not an optional around a pointer."""
    return t.kind == "optional" and t.args[-1].kind == "ref" and isinstance(t.args[-1].target, Struct)


def innermost_type(t, name):
    """The C++ type of what containers hold; `name` names a structure or enumeration."""
    if is_optional_structure(t):
        return f"::Opax::OptionalPtr<{name(t.args[-1].target)} const>"
    if t.kind in PRIMITIVE_TYPES:
        return PRIMITIVE_TYPES[t.kind]
    if t.kind == "ref":
        return f"std::shared_ptr<{name(t.target)} const>" if isinstance(t.target, Struct) else name(t.target)
    raise ValueError(f"no C++ type for {t.kind}")
