#pragma once

// The message ids that the runtime and the bindings raise. Every id here has a default text in
// the core message table (default_messages.cpp); a test holds the two in step. Arguments are
// listed in order beside each id.

namespace Opax {
namespace MessageIds {

// One id per line with its arguments beside it: a test reads this table line by line.
// clang-format off
// Data values: reading, converting, building.
constexpr char const kInvalidType[] = "opax.data.invalid.type";  // (none)
constexpr char const kBadCast1[] = "opax.data.bad.cast1";        // expected type
constexpr char const kValueKindMismatch[] = "opax.data.value.kind.mismatch";  // expected, actual, path
constexpr char const kIntegerOutOfRange[] = "opax.data.integer.out.of.range";  // value, target
constexpr char const kDoubleNotIntegral[] = "opax.data.double.not.integral";   // value
constexpr char const kDateTimeInvalid[] = "opax.data.datetime.invalid";        // text
constexpr char const kFieldMissing[] = "opax.data.structure.field.missing";    // field, structure, path
constexpr char const kUnsetNonOptionalField[] = "opax.data.unset.non.optional.field";  // (none)
constexpr char const kListElementKind[] = "opax.data.list.element.kind";  // expected, actual

// Structures and unions (validation of native objects and of values).
constexpr char const kFieldExtra[] = "opax.data.compound.field.extra";  // structure, field
constexpr char const kUnionIsNotSet[] = "opax.data.union.invalid.case.state.isnotset.short";  // field, structure
constexpr char const kUnionIsSet[] = "opax.data.union.invalid.case.state.isset.short";  // field, structure
constexpr char const kUnionMissingTag[] = "opax.data.union.missing.tag.field";  // tag
constexpr char const kUnionNoTag[] = "opax.data.union.invalid.case.state.notag";  // tag, field, structure
constexpr char const kIsOneOfStructure[] = "opax.data.structure.isoneof.value.invalid";  // field, type
constexpr char const kStructureName[] = "opax.data.structure.name.mismatch";  // expected, actual, path
constexpr char const kIsOneOfValue[] = "opax.data.isoneof.value.invalid";  // value, path
constexpr char const kErrorName[] = "opax.data.error.name.mismatch";       // expected, actual, path
constexpr char const kUnresolvedReference[] = "opax.data.definition.reference.unresolved";  // name, path

// Invocation and providers.
constexpr char const kInvalidInput[] = "opax.invoke.invalid.input";  // operation
constexpr char const kInvalidOutput[] = "opax.invoke.invalid.output";  // operation
constexpr char const kUndeclaredError[] = "opax.invoke.undeclared.error";  // operation, error
constexpr char const kSignalNotConnected[] = "opax.provider.method.signal.not.connected";  // (none)
constexpr char const kUnknownInterface[] = "opax.provider.interface.unknown";  // interface
constexpr char const kUnknownMethod[] = "opax.provider.method.unknown";        // interface, method
constexpr char const kNotImplemented[] = "opax.invoke.not.implemented";  // operation
constexpr char const kTerminated[] = "opax.invoke.terminated";       // (none)

// JSON text (the wire format). The last argument is always the JSON path of the fault, as
// validation writes it ("spec.backing[2].type"); no argument ever carries a string's content.
constexpr char const kJsonSyntax[] = "opax.json.syntax.invalid";  // byte offset, what was expected, path
constexpr char const kJsonTruncated[] = "opax.json.text.truncated";  // path
constexpr char const kJsonUtf8[] = "opax.json.utf8.invalid";  // byte offset, path
constexpr char const kJsonLimit[] = "opax.json.limit.exceeded";  // limit, maximum, path
constexpr char const kJsonDuplicateMember[] = "opax.json.member.duplicate";  // member, path
constexpr char const kJsonKindMismatch[] = "opax.json.kind.mismatch";  // expected, JSON kind, path
constexpr char const kJsonNumberRange[] = "opax.json.number.out.of.range";  // number, path
constexpr char const kJsonNotIntegral[] = "opax.json.number.not.integral";  // number, path
constexpr char const kJsonBinary[] = "opax.json.binary.invalid";  // path
constexpr char const kJsonDateTime[] = "opax.json.datetime.invalid";  // text, path
constexpr char const kJsonTypeMissing[] = "opax.json.type.missing";  // path

// The network transport. No argument ever carries a password, a token or a request's content.
constexpr char const kRpcRequestNotJson[] = "opax.rpc.request.not.json";  // what was wrong
constexpr char const kRpcRequestInvalid[] = "opax.rpc.request.invalid";  // what was wrong
constexpr char const kRpcBatchTooLarge[] = "opax.rpc.batch.too.large";  // calls, maximum
constexpr char const kRpcMethodUnknown[] = "opax.rpc.method.unknown";  // method
constexpr char const kRpcSessionRequired[] = "opax.rpc.session.required";  // method
constexpr char const kRpcConnectFailed[] = "opax.rpc.connect.failed";  // server, reason
constexpr char const kRpcConnectionLost[] = "opax.rpc.connection.lost";  // server, reason
constexpr char const kRpcTimedOut[] = "opax.rpc.call.timed.out";  // method, milliseconds
constexpr char const kRpcTlsUnverified[] = "opax.rpc.tls.unverified";  // server, reason
constexpr char const kRpcClientClosed[] = "opax.rpc.client.closed";  // method
constexpr char const kRpcReplyInvalid[] = "opax.rpc.reply.invalid";  // server, what was wrong
constexpr char const kRpcHttpStatus[] = "opax.rpc.http.status";  // server, status
constexpr char const kRpcServerError[] = "opax.rpc.server.error";  // code, message
constexpr char const kRpcUrlInvalid[] = "opax.rpc.url.invalid";  // what was wrong
constexpr char const kRpcTlsSetup[] = "opax.rpc.tls.setup.failed";  // what, reason
constexpr char const kRpcListenFailed[] = "opax.rpc.listen.failed";  // address, reason

// Message catalogues: files of translated texts, one per language.
constexpr char const kCatalogUnreadable[] = "opax.l10n.catalog.unreadable";  // file
constexpr char const kCatalogDirectory[] = "opax.l10n.catalog.directory.unreadable";  // directory
constexpr char const kCatalogTooLarge[] = "opax.l10n.catalog.too.large";  // file, limit in bytes
constexpr char const kCatalogLanguage[] = "opax.l10n.catalog.language.invalid";  // file, language
constexpr char const kCatalogLineTooLong[] = "opax.l10n.catalog.line.too.long";  // file, line, limit in bytes
constexpr char const kCatalogUtf8[] = "opax.l10n.catalog.utf8.invalid";  // file, line
constexpr char const kCatalogLineMalformed[] = "opax.l10n.catalog.line.malformed";  // file, line
constexpr char const kCatalogEscape[] = "opax.l10n.catalog.escape.invalid";  // file, line
constexpr char const kCatalogUnknownId[] = "opax.l10n.catalog.id.unknown";  // file, line, message id
constexpr char const kCatalogDuplicateId[] = "opax.l10n.catalog.id.duplicate";  // file, line, message id, first line
constexpr char const kCatalogPlaceholder[] = "opax.l10n.catalog.placeholder.unknown";  // file, line, placeholder, message id

// Sessions and users files (the server's authentication). No argument ever carries a user
// name, a password, a token or any text of a users file: only counts, line numbers and paths.
constexpr char const kSessionCredentials[] = "opax.rpc.session.credentials.invalid";  // (none)
constexpr char const kSessionMissing[] = "opax.rpc.session.missing";  // (none)
constexpr char const kSessionLimit[] = "opax.rpc.session.limit";      // maximum
constexpr char const kUsersFileUnreadable[] = "opax.rpc.users.file.unreadable";  // path
constexpr char const kUsersLineFields[] = "opax.rpc.users.line.fields";          // line
constexpr char const kUsersLineUser[] = "opax.rpc.users.line.user";              // line
constexpr char const kUsersLineScheme[] = "opax.rpc.users.line.scheme";          // line, known scheme
constexpr char const kUsersLineIterations[] = "opax.rpc.users.line.iterations";  // line, minimum, maximum
constexpr char const kUsersLineSalt[] = "opax.rpc.users.line.salt";  // line, fewest bytes, most bytes
constexpr char const kUsersLineHash[] = "opax.rpc.users.line.hash";              // line, bytes
constexpr char const kUsersLineDuplicate[] = "opax.rpc.users.line.duplicate";    // line, earlier line

// Tasks.
constexpr char const kTaskUnknown[] = "opax.task.unknown";  // task id
constexpr char const kTaskCanceled[] = "opax.task.canceled";  // task id
constexpr char const kTaskAlreadyEnded[] = "opax.task.already.ended";  // task id, final status
constexpr char const kTaskProgress[] = "opax.task.progress";  // the implementation's note
constexpr char const kTaskFollowTimedOut[] = "opax.task.follow.timed.out";  // task id, milliseconds

// clang-format on
}  // namespace MessageIds
}  // namespace Opax
