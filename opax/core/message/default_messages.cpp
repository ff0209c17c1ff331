#include <opax/core/message/message.h>
#include <opax/core/message/message_ids.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace Opax {
namespace {

struct DefaultText {
  std::string_view id;
  char const* text;
};

namespace Ids = MessageIds;

// Sorted by id (checked at compile time below) so that a lookup is a binary search over constant
// data: nothing to build at start-up and nothing to guard between threads.
constexpr DefaultText kDefaultTexts[] = {
    {Ids::kBadCast1, "The value cannot be used as '{0}'."},
    {Ids::kFieldExtra, "Structure '{0}' does not declare the field '{1}' it received."},
    {Ids::kDateTimeInvalid, "'{0}' is not a valid date and time such as 2024-01-31T12:00:00.000Z."},
    {Ids::kUnresolvedReference, "The data definition at '{1}' refers to '{0}', which is not defined."},
    {Ids::kDoubleNotIntegral, "The number {0} is not a whole number, but an integer is expected here."},
    {Ids::kErrorName, "Expected an error named '{0}' at '{2}' but received one named '{1}'."},
    {Ids::kIntegerOutOfRange, "The integer {0} is outside the range of '{1}'."},
    {Ids::kInvalidType, "The value is not of the type expected here."},
    {Ids::kIsOneOfValue, "The value '{0}' at '{1}' is not one of the values allowed there."},
    {Ids::kListElementKind, "A list element is of kind '{1}' where kind '{0}' is expected."},
    {Ids::kFieldMissing, "Field '{0}' of structure '{1}' at '{2}' is required but missing."},
    {Ids::kIsOneOfStructure, "Field '{0}' holds a structure of type '{1}', which it does not allow."},
    {Ids::kStructureName, "Expected a structure named '{0}' at '{2}' but received one named '{1}'."},
    {Ids::kUnionIsNotSet,
     "Field '{0}' of structure '{1}' is required for the current value of its union tag but is not set."},
    {Ids::kUnionIsSet,
     "Field '{0}' of structure '{1}' is not allowed for the current value of its union tag but is set."},
    {Ids::kUnionNoTag, "Field '{1}' of structure '{2}' is set, but its union tag field '{0}' is not."},
    {Ids::kUnionMissingTag, "The union tag field '{0}' does not hold a known value."},
    {Ids::kUnsetNonOptionalField, "A value that is not optional is not set."},
    {Ids::kValueKindMismatch, "Expected a value of kind '{0}' at '{2}' but found one of kind '{1}'."},
    {Ids::kInvalidInput, "The input of operation '{0}' is not valid."},
    {Ids::kInvalidOutput, "The output of operation '{0}' is not valid."},
    {Ids::kNotImplemented, "This server does not implement operation '{0}'."},
    {Ids::kTerminated, "The operation ended without delivering a result or an error."},
    {Ids::kUndeclaredError, "Operation '{0}' reported the error '{1}', which it does not declare."},
    {Ids::kJsonBinary, "The text at '{0}' is not valid padded base64."},
    {Ids::kJsonDateTime, "'{0}' at '{1}' is not a date and time in UTC such as 2024-01-31T12:00:00.000Z."},
    {Ids::kJsonKindMismatch, "Expected a value of type '{0}' at '{2}' but the JSON text holds a JSON {1}."},
    {Ids::kJsonLimit, "The JSON text exceeds the limit on {0} ({1}) at '{2}'."},
    {Ids::kJsonDuplicateMember, "Member '{0}' appears more than once in the object at '{1}'."},
    {Ids::kJsonNotIntegral,
     "The number {0} at '{1}' is not a whole number, but an integer is expected there."},
    {Ids::kJsonNumberRange, "The number {0} at '{1}' is out of range for the value expected there."},
    {Ids::kJsonSyntax, "The JSON text is malformed at byte {0}: expected {1} (at '{2}')."},
    {Ids::kJsonTruncated, "The JSON text ends before its value is complete (at '{0}')."},
    {Ids::kJsonTypeMissing, "The error at '{0}' has no \"@type\" member to name it."},
    {Ids::kJsonUtf8, "The JSON text holds bytes that are not valid UTF-8 at byte {0} (at '{1}')."},
    {Ids::kCatalogDirectory, "The directory of message catalogues '{0}' cannot be read."},
    {Ids::kCatalogEscape,
     "Line {1} of the message catalogue '{0}' has a backslash that is not one of \\n, \\t or \\\\."},
    {Ids::kCatalogDuplicateId,
     "Line {1} of the message catalogue '{0}' repeats the message id '{2}' of line {3}."},
    {Ids::kCatalogUnknownId,
     "Line {1} of the message catalogue '{0}' names the message id '{2}', which is not known."},
    {Ids::kCatalogLanguage,
     "The message catalogue '{0}' cannot be loaded for '{1}': a language tag other than the built-in English "
     "is "
     "expected."},
    {Ids::kCatalogLineMalformed,
     "Line {1} of the message catalogue '{0}' is neither blank, nor a comment, nor of the form 'id = text'."},
    {Ids::kCatalogLineTooLong,
     "Line {1} of the message catalogue '{0}' is longer than the limit of {2} bytes."},
    {Ids::kCatalogPlaceholder,
     "Line {1} of the message catalogue '{0}' uses the placeholder {2}, which the English text of '{3}' does "
     "not "
     "have."},
    {Ids::kCatalogTooLarge, "The message catalogue '{0}' is larger than the limit of {1} bytes."},
    {Ids::kCatalogUnreadable, "The message catalogue '{0}' cannot be read."},
    {Ids::kCatalogUtf8, "Line {1} of the message catalogue '{0}' holds bytes that are not valid UTF-8."},
    {Ids::kUnknownInterface, "Interface '{0}' is not registered with this provider."},
    {Ids::kSignalNotConnected, "The operation has no receiver connected for its result."},
    {Ids::kUnknownMethod, "Interface '{0}' has no operation named '{1}'."},
    {Ids::kRpcBatchTooLarge, "The batch holds {0} calls; this server takes at most {1} in one request."},
    {Ids::kRpcTimedOut, "The call of '{0}' got no reply within {1} ms."},
    {Ids::kRpcClientClosed, "The call of '{0}' was abandoned: its client was closed."},
    {Ids::kRpcConnectFailed, "Cannot connect to {0}: {1}."},
    {Ids::kRpcConnectionLost, "The connection to {0} was lost before the reply arrived: {1}."},
    {Ids::kRpcHttpStatus, "The server {0} answered with HTTP status {1}."},
    {Ids::kRpcListenFailed, "Cannot listen on {0}: {1}."},
    {Ids::kRpcMethodUnknown, "This server has no method named '{0}'."},
    {Ids::kRpcReplyInvalid, "The reply from {0} cannot be read: {1}."},
    {Ids::kRpcRequestInvalid, "The request is not a valid JSON-RPC 2.0 call: {0}."},
    {Ids::kRpcRequestNotJson, "The request is not a JSON-RPC request: it holds {0}."},
    {Ids::kRpcServerError, "The server refused the call (JSON-RPC error {0}): {1}"},
    {Ids::kSessionCredentials, "The user name or password is not valid."},
    {Ids::kSessionLimit, "The server already holds its maximum of {0} sessions; try again later."},
    {Ids::kSessionMissing, "The call carries no valid session: it has none, or it ended or expired."},
    {Ids::kRpcSessionRequired, "Calling '{0}' needs a valid session: log in with the session service first."},
    {Ids::kRpcTlsSetup, "TLS cannot be set up: {0}: {1}."},
    {Ids::kRpcTlsUnverified, "The certificate of {0} cannot be trusted: {1}."},
    {Ids::kRpcUrlInvalid, "The server address is not a valid http:// or https:// URL: {0}."},
    {Ids::kUsersFileUnreadable, "The users file '{0}' cannot be read."},
    {Ids::kUsersLineDuplicate, "Line {0} of the users file names a user already named on line {1}."},
    {Ids::kUsersLineFields,
     "Line {0} of the users file does not have the five fields user:scheme:iterations:salt:hash."},
    {Ids::kUsersLineHash, "The hash on line {0} of the users file is not padded base64 of {1} bytes."},
    {Ids::kUsersLineIterations,
     "The iteration count on line {0} of the users file is not a whole number from {1} to {2}."},
    {Ids::kUsersLineSalt, "The salt on line {0} of the users file is not padded base64 of {1} to {2} bytes."},
    {Ids::kUsersLineScheme, "Line {0} of the users file names a password hash scheme other than '{1}'."},
    {Ids::kUsersLineUser,
     "The user name on line {0} of the users file is empty or holds white space or a control character."},
    {Ids::kTaskAlreadyEnded, "Task '{0}' has already ended ({1}) and can no longer be canceled."},
    {Ids::kTaskCanceled, "Task '{0}' was canceled before it ended."},
    {Ids::kTaskFollowTimedOut, "Task '{0}' did not end within {1} ms."},
    {Ids::kTaskProgress, "{0}"},
    {Ids::kTaskUnknown, "There is no task with the id '{0}'."},
};

constexpr bool IsStrictlySorted() {
  for (std::size_t i = 1; i < std::size(kDefaultTexts); ++i) {
    if (!(kDefaultTexts[i - 1].id < kDefaultTexts[i].id)) return false;
  }
  return true;
}
static_assert(IsStrictlySorted(), "kDefaultTexts must be sorted by id without duplicates");

char const* Find(std::string const& id) {
  std::string_view const key(id);
  auto const found =
      std::lower_bound(std::begin(kDefaultTexts), std::end(kDefaultTexts), key,
                       [](DefaultText const& entry, std::string_view k) { return entry.id < k; });
  return found != std::end(kDefaultTexts) && found->id == key ? found->text : nullptr;
}

// If a placeholder "{digits}" starts at `open`, sets `index` (saturated at `limit`, so that no
// count of digits can overflow) and `end` (just past the '}').
bool ReadPlaceholder(std::string const& text, std::size_t open, std::size_t limit, std::size_t& index,
                     std::size_t& end) {
  std::size_t value = 0;
  std::size_t i = open + 1;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    value = std::min(limit, value * 10 + static_cast<std::size_t>(text[i] - '0'));
  }
  if (i == open + 1 || i == text.size() || text[i] != '}') return false;
  index = value;
  end = i + 1;
  return true;
}

std::string UnknownIdText(std::string const& id) { return "Message '" + id + "'"; }

// Doubles the braces of `text` so that Format gives it back unchanged.
std::string EscapeBraces(std::string const& text) {
  std::string out;
  for (char c : text) {
    out += c;
    if (c == '{' || c == '}') out += c;
  }
  return out;
}

}  // namespace

std::string Message<CoreTag>::DefaultMessageForId(std::string const& id) {
  char const* text = Find(id);
  return text != nullptr ? std::string(text) : UnknownIdText(EscapeBraces(id));
}

std::string Message<CoreTag>::Format(std::string const& text, std::vector<std::string> const& args) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    char const c = text[i];
    if ((c == '{' || c == '}') && i + 1 < text.size() && text[i + 1] == c) {
      out += c;
      i += 2;
      continue;
    }
    std::size_t index = 0;
    std::size_t end = 0;
    if (c == '{' && ReadPlaceholder(text, i, args.size(), index, end) && index < args.size()) {
      out += args[index];
      i = end;
      continue;
    }
    out += c;
    ++i;
  }
  return out;
}

char const* Message<CoreTag>::FindDefaultMessage(std::string const& id) { return Find(id); }

std::vector<std::string> Message<CoreTag>::Ids() {
  std::vector<std::string> ids;
  ids.reserve(std::size(kDefaultTexts));
  for (DefaultText const& entry : kDefaultTexts) ids.emplace_back(entry.id);
  return ids;
}

std::vector<std::size_t> Message<CoreTag>::Placeholders(std::string const& text) {
  std::vector<std::size_t> found;
  std::size_t i = 0;
  while (i < text.size()) {
    char const c = text[i];
    std::size_t index = 0;
    std::size_t end = 0;
    if ((c == '{' || c == '}') && i + 1 < text.size() && text[i + 1] == c) {
      i += 2;
    } else if (c == '{' && ReadPlaceholder(text, i, kMaxPlaceholder, index, end)) {
      found.push_back(index);
      i = end;
    } else {
      ++i;
    }
  }
  return found;
}

std::string Message<CoreTag>::TextFor(std::string const& id, std::vector<std::string> const& args) {
  char const* text = Find(id);
  if (text != nullptr) return Format(text, args);
  // Arguments are appended as they are, not formatted, so that nothing in them is lost.
  std::string out = UnknownIdText(id);
  if (args.empty()) return out;
  out += " (arguments: ";
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (i > 0) out += ", ";
    out += "'" + args[i] + "'";
  }
  return out + ")";
}

}  // namespace Opax
