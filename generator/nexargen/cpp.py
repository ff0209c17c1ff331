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
