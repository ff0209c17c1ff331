#pragma once

// The JSON tokenizer under the decoder: it checks the grammar, the UTF-8 and the limits, and hands
// out one token at a time, so that the decoder builds values as the text goes by without a
// document in between.
//
// It is iterative: the open objects and arrays are a vector, never the call stack, so a text
// nested a million levels deep costs memory in proportion and no stack. (Boost.JSON's
// basic_parser, the obvious choice, descends one C++ call per nesting level, and with its depth
// limit lifted that overflows the stack long before a million levels.)

#include <opax/json/limits.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Opax {
namespace Json {
namespace internal {

enum class TokenType : uint8_t {
  ObjectBegin,
  ObjectEnd,
  ArrayBegin,
  ArrayEnd,
  Key,     // a member name; the member's value follows
  String,  // text: the unescaped content
  Number,  // text: the number as written; integral when it has no fraction and no exponent
  True,
  False,
  Null,
  End,  // the text is complete
};

struct Token {
  TokenType type = TokenType::End;
  std::string_view text;
  bool integral = false;
};

enum class ReadError : uint8_t {
  None,
  Syntax,     // detail() says what was expected
  Truncated,  // the text ended inside a value
  Utf8,       // bytes that are not UTF-8, or an unpaired surrogate escape
  Depth,
  StringLength,
  Members,
  TotalSize,
};

// One open object or array.
struct ReaderLevel {
  bool object;
  std::size_t members;
};

class Reader {
 public:
  // `levels` is the reader's stack: empty, and the caller's so that its storage can be reused.
  Reader(std::string_view text, Limits const& limits, std::vector<ReaderLevel>& levels);
  // The scratch buffer may have held a secret's unescaped text.
  ~Reader();
  Reader(Reader const&) = delete;
  Reader& operator=(Reader const&) = delete;

  // The next token, or false with error() set. A token's text stays valid until the next call.
  bool Next(Token& token);

  ReadError error() const { return error_; }
  char const* detail() const { return detail_; }
  // Where the fault was found, in bytes from the start of the text.
  std::size_t offset() const { return position_; }

 private:
  enum class State : uint8_t { Value, ObjectFirst, ObjectNext, ArrayFirst, ArrayNext, AfterRoot, Done };

  bool Fail(ReadError error, char const* detail = "");
  bool Expected(char const* what);
  void SkipSpace();
  bool AtEnd() const { return position_ >= text_.size(); }
  bool ReadValue(Token& token);
  bool ReadKey(Token& token);
  bool ReadString(std::string_view& out);
  bool ReadEscape();
  bool ReadNumber(Token& token);
  bool ReadLiteral(std::string_view word, TokenType type, Token& token);
  bool Open(bool object, TokenType type, Token& token);
  bool Close(bool object, Token& token);
  bool CountMember();
  void AfterValue();

  std::string_view text_;
  Limits limits_;
  std::size_t position_ = 0;
  State state_ = State::Value;
  std::vector<ReaderLevel>& levels_;
  std::string scratch_;  // a string's content when it holds escapes
  ReadError error_ = ReadError::None;
  char const* detail_ = "";
};

}  // namespace internal
}  // namespace Json
}  // namespace Opax
