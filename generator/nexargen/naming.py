"""The naming rules: how wire names become C++ names, class paths and dotted type names."""

import re

ROOT = "com.quarn.nexar"
# The ids below which services may live: the catalogue, the framework's own services (the task
# service) and the simulator's controls. A service's class and file path are taken below its root.
SERVICE_ROOTS = (ROOT, "com.quarn.cis", "com.quarn.sim")

# The wire name of an operation's task form: its name plus this.
TASK_SUFFIX = "$task"

# Ids whose last component keeps an upper-case "VM" while the class is VmSvc.
UPPER_VM = "VM"

# Words an accessor or parameter may not be: the generated C++ would not compile.
KEYWORDS = {
    "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor", "bool", "break", "case", "catch",
    "char", "class", "compl", "const", "constexpr", "const_cast", "continue", "decltype", "default", "delete",
    "do", "double", "dynamic_cast", "else", "enum", "explicit", "export", "extern", "false", "float", "for",
    "friend", "goto", "if", "inline", "int", "long", "mutable", "namespace", "new", "noexcept", "not",
    "not_eq", "nullptr", "operator", "or", "or_eq", "private", "protected", "public", "register",
    "reinterpret_cast", "return", "short", "signed", "sizeof", "static", "static_assert", "static_cast",
    "struct", "switch", "template", "this", "thread_local", "throw", "true", "try", "typedef", "typeid",
    "typename", "union", "unsigned", "using", "virtual", "void", "volatile", "wchar_t", "while", "xor",
    "xor_eq",
}

# The parameters that every generated method signature adds after the operation's own.
SIGNATURE_PARAMETERS = ("activation", "result")

_FIELD_NAME = re.compile(r"^[a-z][a-z0-9]*(_[A-Za-z0-9]+)*$")
_TYPE_NAME = re.compile(r"^[A-Z][A-Za-z0-9]*$")
_ENUM_VALUE = re.compile(r"^[A-Z][A-Z0-9]*(_[A-Z0-9]+)*$")
_ID_COMPONENT = re.compile(r"^[a-z][a-z0-9]*(_[a-z0-9]+)*$")


def is_field_name(name):
    """snake_case, lower case except where the wire keeps capitals ("size_MiB")."""
    return bool(_FIELD_NAME.match(name))


def is_reserved_parameter(name):
    """A parameter whose C++ name would be a keyword or clash with a parameter the signatures add."""
    return lower_camel(name) in KEYWORDS or name in SIGNATURE_PARAMETERS


def is_type_name(name):
    return bool(_TYPE_NAME.match(name))


def is_enum_value(name):
    return bool(_ENUM_VALUE.match(name))


def is_id_component(name):
    return bool(_ID_COMPONENT.match(name))


def camel(snake):
    """snake_case to CamelCase: each word capitalised, underscores dropped ("vt_containers" -> "VtContainers")."""
    return "".join(word[:1].upper() + word[1:] for word in snake.split("_") if word)


def lower_camel(snake):
    """Accessor names: "start_connected" -> "startConnected", "size_MiB" -> "sizeMiB"."""
    words = [w for w in snake.split("_") if w]
    if not words:
        return snake
    return words[0] + "".join(w[:1].upper() + w[1:] for w in words[1:])


def snake(camel_name):
    """CamelCase to snake_case: "CreateSpec" -> "create_spec", "DynamicID" -> "dynamic_id"."""
    out = []
    for i, ch in enumerate(camel_name):
        if ch.isupper() and i > 0:
            prev = camel_name[i - 1]
            nxt = camel_name[i + 1] if i + 1 < len(camel_name) else ""
            if prev.islower() or prev.isdigit() or (prev.isupper() and nxt.islower()):
                out.append("_")
        out.append(ch.lower())
    return "".join(out)


def service_root(service_id):
    """The root of SERVICE_ROOTS that the id lies below; ValueError for any other id."""
    for root in SERVICE_ROOTS:
        if service_id.startswith(root + "."):
            return root
    raise ValueError(f"service id '{service_id}' is not below {' or '.join(SERVICE_ROOTS)}")


def service_namespace(service_id):
    """The namespace that a service's class path is below: Com::Quarn::Nexar for the catalogue."""
    return package_namespace(service_root(service_id))


def service_class_path(service_id):
    """The C++ path of a service below its root's namespace (Com::Quarn::Nexar for the catalogue),
    e.g. ["Authorization", "VtContainers", "MappingsSvc"].

    The upper-case "VM" ids keep their class VmSvc."""
    root = service_root(service_id)
    parts = service_id[len(root) + 1:].split(".")
    names = [camel(p) for p in parts[:-1]]
    last = parts[-1]
    names.append(("Vm" if last == UPPER_VM else camel(last)) + "Svc")
    return names


def id_breaks_rule(service_id):
    """The parts of an id that are not snake_case; only a final "VM" is allowed."""
    parts = service_id.split(".")
    bad = [p for p in parts if not is_id_component(p)]
    if bad == [UPPER_VM] and parts[-1] == UPPER_VM:
        return []
    return bad


def service_relative_path(service_id):
    """Where the service's description and header live below its root directory (idl/ and
    bindings/ for the catalogue), without suffix."""
    parts = service_id[len(service_root(service_id)) + 1:].split(".")
    parts[-1] = parts[-1].lower() if parts[-1] == UPPER_VM else parts[-1]
    return "/".join(parts)


def package_namespace(dotted):
    """A package or service scope as C++ namespaces: "com.quarn.nexar.vm.hardware" -> Com::Quarn::Nexar::Vm::Hardware."""
    return [camel(p) for p in dotted.split(".")]


def canonical_struct_name(scope, struct_name, wire=None):
    """The dotted wire name of a structure: its scope plus the snake_case name (or an explicit wire part)."""
    return f"{scope}.{wire if wire else snake(struct_name)}"
