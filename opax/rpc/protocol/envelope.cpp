#include <opax/rpc/protocol/envelope.h>

#include <opax/json/internal/reader.h>

#include <charconv>

namespace Opax {
namespace Rpc {
namespace {

using Json::internal::Reader;
using Json::internal::ReaderLevel;
using Json::internal::Token;
using Json::internal::TokenType;

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Walks one JSON text token by token and cuts values out of it as spans of the original.
class Scanner {
 public:
  Scanner(std::string_view text, Json::Limits const& limits) : text_(text), reader_(text, limits, levels_) {}

  bool Next(Token& token) {
    start_ = reader_.offset();
    while (start_ < text_.size() && (IsSpace(text_[start_]) || text_[start_] == ',' || text_[start_] == ':'))
      ++start_;
    return reader_.Next(token);
  }
  // Where the token just read began, and the text from there to where the reader stands now.
  std::string_view SpanFromStart(std::size_t start) const {
    return text_.substr(start, reader_.offset() - start);
  }
  std::size_t start() const { return start_; }

  // Reads past the rest of a value whose first token was `first`; false on a reader fault.
  bool SkipRest(Token const& first) {
    if (first.type != TokenType::ObjectBegin && first.type != TokenType::ArrayBegin) return true;
    std::size_t depth = 1;
    Token token;
    while (depth > 0) {
      if (!reader_.Next(token)) return false;
      if (token.type == TokenType::ObjectBegin || token.type == TokenType::ArrayBegin) ++depth;
      if (token.type == TokenType::ObjectEnd || token.type == TokenType::ArrayEnd) --depth;
    }
    return true;
  }
  // The whole value whose first token was `first`, as written.
  bool Capture(Token const& first, std::string_view& span) {
    std::size_t const begin = start_;
    if (!SkipRest(first)) return false;
    span = SpanFromStart(begin);
    return true;
  }

  char const* fault() const {
    switch (reader_.error()) {
      case Json::internal::ReadError::Depth:
      case Json::internal::ReadError::StringLength:
      case Json::internal::ReadError::Members:
      case Json::internal::ReadError::TotalSize:
        return "a limit of the server";
      case Json::internal::ReadError::Utf8:
        return "text that is not UTF-8";
      case Json::internal::ReadError::Truncated:
        return "text that ends inside a value";
      default:
        return "text that is not JSON";
    }
  }

 private:
  std::string_view text_;
  std::vector<ReaderLevel> levels_;
  Reader reader_;
  std::size_t start_ = 0;
};

bool IsScalarId(TokenType type) {
  return type == TokenType::String || type == TokenType::Number || type == TokenType::Null;
}

// Reads the members of one call object, its '{' already read. False only on a reader fault.
bool ReadCall(Scanner& scanner, RpcCall& call) {
  bool version = false;
  bool method = false;
  Token token;
  for (;;) {
    if (!scanner.Next(token)) return false;
    if (token.type == TokenType::ObjectEnd) break;
    std::string_view const key = token.text;
    // The key's text lives in the reader's scratch until the next token: compare it now.
    enum {
      kVersion,
      kMethod,
      kId,
      kParams,
      kOther
    } const which = key == "jsonrpc"  ? kVersion
                    : key == "method" ? kMethod
                    : key == "id"     ? kId
                    : key == "params" ? kParams
                                      : kOther;
    if (!scanner.Next(token)) return false;
    std::size_t const begin = scanner.start();
    switch (which) {
      case kVersion:
        version = token.type == TokenType::String && token.text == "2.0";
        if (!version) call.invalid = "\"jsonrpc\" must be \"2.0\"";
        break;
      case kMethod:
        method = token.type == TokenType::String;
        if (method)
          call.method.assign(token.text.data(), token.text.size());
        else
          call.invalid = "\"method\" must be a string";
        break;
      case kId:
        if (IsScalarId(token.type)) {
          call.id = scanner.SpanFromStart(begin);
        } else {
          call.invalid = "\"id\" must be a string, a number or null";
        }
        break;
      case kParams:
        if (token.type == TokenType::ObjectBegin) {
          if (!scanner.Capture(token, call.params)) return false;
          continue;
        }
        call.invalid = token.type == TokenType::ArrayBegin
                           ? "params by position are not served: pass them by name"
                           : "\"params\" must be an object";
        break;
      case kOther:
        break;
    }
    if (!scanner.SkipRest(token)) return false;
  }
  if (!call.invalid && !version) call.invalid = "\"jsonrpc\" must be \"2.0\"";
  if (!call.invalid && !method) call.invalid = "a call needs a \"method\"";
  // An invalid call is answered with the null id when its own id could not be trusted.
  if (call.invalid && call.id.empty()) call.id = "null";
  return true;
}

// One element (the root, or one of a batch), its first token read.
bool ReadElement(Scanner& scanner, Token const& first, std::vector<RpcCall>& calls) {
  calls.emplace_back();
  if (first.type == TokenType::ObjectBegin) return ReadCall(scanner, calls.back());
  calls.back().invalid = "a call must be an object";
  calls.back().id = "null";
  return scanner.SkipRest(first);
}

}  // namespace

RpcRequest ParseRequest(std::string_view body, Json::Limits const& limits) {
  RpcRequest request;
  Scanner scanner(body, limits);
  Token token;
  bool ok = scanner.Next(token);
  if (ok && token.type == TokenType::ArrayBegin) {
    request.batch = true;
    while ((ok = scanner.Next(token)) && token.type != TokenType::ArrayEnd) {
      if (!(ok = ReadElement(scanner, token, request.calls))) break;
    }
    if (ok && request.calls.empty()) {
      // An empty batch is one invalid request, answered as a single reply.
      request.batch = false;
      request.calls.emplace_back();
      request.calls.back().invalid = "a batch must hold at least one call";
      request.calls.back().id = "null";
    }
  } else if (ok) {
    ok = ReadElement(scanner, token, request.calls);
  }
  if (ok) ok = scanner.Next(token) && token.type == TokenType::End;
  if (!ok) {
    request.calls.clear();
    request.batch = false;
    request.parseError = scanner.fault();
  }
  return request;
}

namespace {

// One reply object, its '{' read.
bool ReadReply(Scanner& scanner, RpcReply& reply, std::string& fault) {
  bool version = false;
  bool outcome = false;
  Token token;
  for (;;) {
    if (!scanner.Next(token)) return false;
    if (token.type == TokenType::ObjectEnd) break;
    std::string_view const key = token.text;
    enum {
      kVersion,
      kId,
      kResult,
      kError,
      kOther
    } const which = key == "jsonrpc"  ? kVersion
                    : key == "id"     ? kId
                    : key == "result" ? kResult
                    : key == "error"  ? kError
                                      : kOther;
    if (!scanner.Next(token)) return false;
    std::size_t const begin = scanner.start();
    switch (which) {
      case kVersion:
        version = token.type == TokenType::String && token.text == "2.0";
        break;
      case kId:
        if (!IsScalarId(token.type))
          return (fault = "a reply id that is not a string, a number or null", false);
        reply.id = scanner.SpanFromStart(begin);
        break;
      case kResult:
        outcome = true;
        if (!scanner.Capture(token, reply.result)) return false;
        continue;
      case kError: {
        outcome = true;
        reply.isError = true;
        if (token.type != TokenType::ObjectBegin) return (fault = "an error that is not an object", false);
        for (;;) {
          if (!scanner.Next(token)) return false;
          if (token.type == TokenType::ObjectEnd) break;
          std::string_view const member = token.text;
          enum {
            kCode,
            kMessage,
            kData,
            kMore
          } const part = member == "code"      ? kCode
                         : member == "message" ? kMessage
                         : member == "data"    ? kData
                                               : kMore;
          if (!scanner.Next(token)) return false;
          if (part == kCode && token.type == TokenType::Number && token.integral) {
            std::from_chars(token.text.data(), token.text.data() + token.text.size(), reply.code);
          } else if (part == kMessage && token.type == TokenType::String) {
            reply.message.assign(token.text.data(), token.text.size());
          } else if (part == kData) {
            if (!scanner.Capture(token, reply.data)) return false;
            continue;
          }
          if (!scanner.SkipRest(token)) return false;
        }
        continue;
      }
      case kOther:
        break;
    }
    if (!scanner.SkipRest(token)) return false;
  }
  if (!version || !outcome)
    return (fault = "a reply without \"jsonrpc\": \"2.0\" and a result or an error", false);
  return true;
}

}  // namespace

bool ParseResponse(std::string_view body, Json::Limits const& limits, std::vector<RpcReply>& replies,
                   std::string& fault) {
  Scanner scanner(body, limits);
  Token token;
  bool ok = scanner.Next(token);
  bool const batch = ok && token.type == TokenType::ArrayBegin;
  if (batch) ok = scanner.Next(token);
  while (ok && !(batch && token.type == TokenType::ArrayEnd)) {
    if (token.type != TokenType::ObjectBegin) {
      fault = "a reply that is not an object";
      return false;
    }
    replies.emplace_back();
    if (!ReadReply(scanner, replies.back(), fault)) {
      if (fault.empty()) fault = scanner.fault();
      return false;
    }
    if (!batch) break;
    ok = scanner.Next(token);
  }
  if (ok) ok = scanner.Next(token) && token.type == TokenType::End;
  if (!ok) {
    fault = scanner.fault();
    return false;
  }
  return true;
}

void AppendJsonString(std::string& out, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  out.push_back('"');
  for (char const c : text) {
    auto const byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(c);
    } else if (byte < 0x20) {
      out.append("\\u00");
      out.push_back(kHex[byte >> 4]);
      out.push_back(kHex[byte & 0xF]);
    } else {
      out.push_back(c);
    }
  }
  out.push_back('"');
}

void OpenResult(std::string& out, std::string_view id) {
  out.append("{\"jsonrpc\":\"2.0\",\"id\":").append(id).append(",\"result\":");
}

void AppendResult(std::string& out, std::string_view id, std::string_view resultJson) {
  OpenResult(out, id);
  out.append(resultJson);
  CloseResult(out);
}

void AppendError(std::string& out, std::string_view id, RpcCode code, std::string_view message,
                 std::string_view dataJson) {
  out.append("{\"jsonrpc\":\"2.0\",\"id\":").append(id).append(",\"error\":{\"code\":");
  out.append(std::to_string(static_cast<int>(code))).append(",\"message\":");
  AppendJsonString(out, message);
  if (!dataJson.empty()) out.append(",\"data\":").append(dataJson);
  out.append("}}");
}

}  // namespace Rpc
}  // namespace Opax
