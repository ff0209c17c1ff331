"""The naming rules: how wire names become C++ names, class paths, file paths and dotted names.
The templates print names made here and compose none of their own, so that one rule has one home."""

import re

ROOT = "com.quarn.nexar"
# The ids below which services may live: the catalogue, the framework's own services (the task
# service) and the simulator's controls. A service's class and file path are taken below its root.
SERVICE_ROOTS = (ROOT, "com.quarn.cis", "com.quarn.sim")
# How many namespaces a root is (Com::Quarn::Nexar). A type is never named by a shorter path than
# the one below its root: "Opax::Std::..." written below Com::Quarn would read as the runtime's ::Opax.
ROOT_DEPTH = len(ROOT.split("."))

# Where the errors that operations declare are looked up.
ERRORS_PACKAGE = "com.quarn.opax.std.errors"

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

# Fixed names that the templates declare inside every service class (service.h.j2): a type of the
# service with one of these names cannot be named relatively where they are in scope.
SERVICE_MEMBERS = {"Constants", "Input", "Member", "GetInstance", "AsyncServiceInterface", "AsyncServiceStub",
                   "SyncServiceStub", "MockAsyncServiceInterface",
                   "AsyncServiceBinderHelper", "AsyncServiceBinder"}

# The structure that every Method class declares (service.h.j2) for its operation's parameters. All
# of them travel under one canonical name: the operation, not the structure, identifies an Input.
INPUT_CLASS = "Input"
INPUT_CANONICAL = "operation-input"

# The enumeration in <Struct>Annotations whose enumerators are the structure's tag fields.
UNION_TAGS = "UnionTags"

_FIELD_NAME = re.compile(r"^[a-z][a-z0-9]*(_[A-Za-z0-9]+)*$")
_TYPE_NAME = re.compile(r"^[A-Z][A-Za-z0-9]*$")
_ENUM_VALUE = re.compile(r"^[A-Z][A-Z0-9]*(_[A-Z0-9]+)*$")
_ID_COMPONENT = re.compile(r"^[a-z][a-z0-9]*(_[a-z0-9]+)*$")


def is_field_name(name):
    """snake_case, lower case except where the wire keeps capitals ("size_MiB")."""
    return bool(_FIELD_NAME.match(name))


def is_reserved_parameter(name):
    """A parameter whose C++ name would be a keyword or clash with a parameter the signatures add."""
    return accessor(name) in KEYWORDS or name in SIGNATURE_PARAMETERS


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


def upper_snake(text):
    """An enumerator for a wire text: "backing_type" -> "BACKING_TYPE"; a text without lower case
    or underscores is only upper-cased."""
    return snake(camel(text)).upper() if text.islower() or "_" in text else text.upper()


def is_below(dotted, scope):
    """Whether a dotted name lies inside `scope`: "com.quarn.nexarx" is not below "com.quarn.nexar"."""
    return dotted.startswith(scope + ".")


def service_root(service_id):
    """The root of SERVICE_ROOTS that the id lies below; ValueError for any other id."""
    for root in SERVICE_ROOTS:
        if is_below(service_id, root):
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


def header(prefix, rel):
    """A unit's header as the code includes it: its library's prefix and its path below its root."""
    return f"{prefix}/{rel}.h"


def sync_header(prefix, rel):
    """A service's blocking calls, beside its own header."""
    return f"{prefix}/{rel}_sync.h"


def mock_header(prefix, rel):
    """A service's GoogleMock header, beside its own header."""
    return f"{prefix}/{rel}_mock.h"


def source(prefix, rel):
    """A unit's source file, beside its header."""
    return f"{prefix}/{rel}.cpp"


def package_namespace(dotted):
    """A package or service scope as C++ namespaces: "com.quarn.nexar.vm.hardware" -> Com::Quarn::Nexar::Vm::Hardware."""
    return [camel(p) for p in dotted.split(".")]


def canonical_struct_name(scope, struct_name, wire=None):
    """The dotted wire name of a structure: its scope plus the snake_case name (or an explicit wire part)."""
    return f"{scope}.{wire if wire else snake(struct_name)}"


def definition_name(unit_id, struct_name, service=False, interface=None):
    """The name a structure's metadata records: the package and the name, or below a service its
    interface's name, the id with the last part as a class ("...vt_containers.Mappings.Info") unless
    the description writes `interface`."""
    if service:
        parent, last = unit_id.rsplit(".", 1)
        unit_id = f"{parent}.{interface or camel(last.lower())}"
    return f"{unit_id}.{struct_name}"


def scoped(path):
    """A C++ path as written relative to where it is looked up: ["Vm", "Info"] -> "Vm::Info"."""
    return "::".join(path)


def absolute(path):
    """A C++ path from the global namespace, which no nearer declaration can hide."""
    return "::" + scoped(path)


# A structure's C++ names. Its data members are private behind accessors of the same name, so the
# member takes a suffix; its enumerations and union annotations sit beside it in companion classes.
def accessor(field_name):
    """The getter and setter of a field, an Input's public member and a method's parameter."""
    return lower_camel(field_name)


def member(field_name):
    """The private data member behind a structure's accessor."""
    return accessor(field_name) + "_"


def enumerations_class(struct_name):
    """The companion class that holds the enumerations a structure declares."""
    return struct_name + "Enumerations"


def annotations_class(struct_name):
    """The companion class that holds the enumerations describing a structure's unions."""
    return struct_name + "Annotations"


def union_cases_class(field_name):
    """In the annotations: the enumeration of the tag values under which the field is a case."""
    return camel(field_name) + "UnionCases"


# An operation's C++ names: one method per operation on the interface, stub and binder (both forms
# overload it), a Method class holding its descriptor and Input, and one binder entry per form.
def operation_method(op_name):
    return camel(op_name)


def method_class(op_name):
    return operation_method(op_name) + "Method"


def method_builder(op_name, task):
    """The binder's entry for one form; the task form's is distinct so that both forms bind."""
    return operation_method(op_name) + ("Task" if task else "") + "MethodBuilder"


def blocking_method(op_name, task):
    """The SyncServiceStub's method for one form: both forms take the same arguments, so the task
    form, which returns the task's id, needs a name of its own."""
    return operation_method(op_name) + ("Task" if task else "")


# The generated sources' own statics. A service's file-level ones carry its class name, which keeps
# them unique when the build compiles several services' sources as one.
def error_list(class_name, index):
    """The `index`-th distinct list of errors that a service's operations declare."""
    return f"k{class_name}Errors{index}"


def operations_table(class_name):
    """The service's operation descriptors, as its catalogue entry lists them."""
    return f"k{class_name}Operations"


def service_entry(class_name):
    """The service's entry in the run-time catalogue."""
    return f"k{class_name}Service"


def registration(class_name):
    """What adds the service's entry to the run-time catalogue when the library loads."""
    return f"k{class_name}Registration"


def union_cases_table(index):
    """In a structure's field table function: the cases of its `index`-th union."""
    return f"cases{index}"


def resource_types_table(index):
    """In a structure's metadata function: the resource types of its `index`-th identifier field."""
    return f"types{index}"
