#include <opax/json/internal/reader.h>

#include <opax/json/internal/utf8.h>

#include <cstdint>
#include <cstring>

namespace Opax {
namespace Json {
namespace internal {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The bytes of eight (one word, little-endian) that end a string's plain run: a quote, a
// backslash, a control character, or a byte of a multi-byte character. Each is marked by its
// high bit in the result. A subtraction borrows out of a byte only where that byte is marked, so
// the lowest mark is exact; marks above it may not be.
uint64_t SpecialBytes(uint64_t word) {
  constexpr uint64_t kOnes = 0x0101010101010101ULL;
  constexpr uint64_t kHigh = 0x8080808080808080ULL;
  uint64_t const quote = word ^ (kOnes * '"');
  uint64_t const backslash = word ^ (kOnes * '\\');
  uint64_t const control = (word - kOnes * 0x20) & ~word;
  return (control | ((quote - kOnes) & ~quote) | ((backslash - kOnes) & ~backslash) | word) & kHigh;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

void AppendUtf8(std::string& out, uint32_t code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

}  // namespace

Reader::Reader(std::string_view text, Limits const& limits, std::vector<ReaderLevel>& levels)
    : text_(text), limits_(limits), levels_(levels) {
  if (text_.size() > limits_.maxTotalSize) Fail(ReadError::TotalSize);
}

Reader::~Reader() {
  // As a secret's own storage is wiped: every byte of the capacity, through volatile stores.
  scratch_.resize(scratch_.capacity());
  volatile char* bytes = scratch_.data();
  for (std::size_t i = 0; i < scratch_.size(); ++i) bytes[i] = 0;
}

bool Reader::Fail(ReadError error, char const* detail) {
  error_ = error;
  detail_ = detail;
  return false;
}

bool Reader::Expected(char const* what) {
  return AtEnd() ? Fail(ReadError::Truncated) : Fail(ReadError::Syntax, what);
}

void Reader::SkipSpace() {
  while (position_ < text_.size()) {
    char const c = text_[position_];
    if (c != ' ' && c != '\n' && c != '\r' && c != '\t') return;
    ++position_;
  }
}

bool Reader::Next(Token& token) {
  if (error_ != ReadError::None) return false;
  SkipSpace();
  switch (state_) {
    case State::Value:
      return ReadValue(token);
    case State::ArrayFirst:
    case State::ArrayNext:
      if (AtEnd()) return Fail(ReadError::Truncated);
      if (text_[position_] == ']') {
        ++position_;
        return Close(false, token);
      }
      if (state_ == State::ArrayNext) {
        if (text_[position_] != ',') return Expected("',' or ']'");
        ++position_;
        SkipSpace();
      }
      if (!CountMember()) return false;
      state_ = State::Value;
      return ReadValue(token);
    case State::ObjectFirst:
    case State::ObjectNext:
      if (AtEnd()) return Fail(ReadError::Truncated);
      if (text_[position_] == '}') {
        ++position_;
        return Close(true, token);
      }
      if (state_ == State::ObjectNext) {
        if (text_[position_] != ',') return Expected("',' or '}'");
        ++position_;
        SkipSpace();
      }
      return ReadKey(token);
    case State::AfterRoot:
      if (!AtEnd()) return Expected("the end of the text after the value");
      state_ = State::Done;
      token = Token{};
      return true;
    case State::Done:
      token = Token{};
      return true;
  }
  return Fail(ReadError::Syntax, "a value");
}

bool Reader::ReadKey(Token& token) {
  if (AtEnd()) return Fail(ReadError::Truncated);
  if (text_[position_] != '"') return Expected("a member name in double quotes");
  if (!CountMember() || !ReadString(token.text)) return false;
  SkipSpace();
  if (AtEnd() || text_[position_] != ':') return Expected("':' after the member name");
  ++position_;
  state_ = State::Value;
  token.type = TokenType::Key;
  return true;
}

bool Reader::ReadValue(Token& token) {
  if (AtEnd()) return Fail(ReadError::Truncated);
  char const c = text_[position_];
  switch (c) {
    case '{':
      return Open(true, TokenType::ObjectBegin, token);
    case '[':
      return Open(false, TokenType::ArrayBegin, token);
    case '"':
      if (!ReadString(token.text)) return false;
      token.type = TokenType::String;
      AfterValue();
      return true;
    case 't':
      return ReadLiteral("true", TokenType::True, token);
    case 'f':
      return ReadLiteral("false", TokenType::False, token);
    case 'n':
      return ReadLiteral("null", TokenType::Null, token);
    default:
      if (c == '-' || IsDigit(c)) return ReadNumber(token);
      return Fail(ReadError::Syntax, "a value");
  }
}

bool Reader::Open(bool object, TokenType type, Token& token) {
  if (levels_.size() >= limits_.maxDepth) return Fail(ReadError::Depth);
  ++position_;
  levels_.push_back({object, 0});
  state_ = object ? State::ObjectFirst : State::ArrayFirst;
  token.type = type;
  token.text = {};
  return true;
}

bool Reader::Close(bool object, Token& token) {
  levels_.pop_back();
  AfterValue();
  token.type = object ? TokenType::ObjectEnd : TokenType::ArrayEnd;
  token.text = {};
  return true;
}

bool Reader::CountMember() {
  if (++levels_.back().members > limits_.maxMembers) return Fail(ReadError::Members);
  return true;
}

void Reader::AfterValue() {
  if (levels_.empty()) {
    state_ = State::AfterRoot;
  } else {
    state_ = levels_.back().object ? State::ObjectNext : State::ArrayNext;
  }
}

bool Reader::ReadLiteral(std::string_view word, TokenType type, Token& token) {
  std::string_view const rest = text_.substr(position_, word.size());
  if (rest != word) {
    return word.substr(0, rest.size()) == rest && position_ + rest.size() == text_.size()
               ? Fail(ReadError::Truncated)
               : Fail(ReadError::Syntax, "a value");
  }
  position_ += word.size();
  token.type = type;
  token.text = word;
  AfterValue();
  return true;
}

bool Reader::ReadNumber(Token& token) {
  std::size_t const start = position_;
  auto digits = [this] {
    while (!AtEnd() && IsDigit(text_[position_])) ++position_;
  };
  auto needDigit = [this] {
    if (AtEnd()) return Fail(ReadError::Truncated);
    return IsDigit(text_[position_]) ? true : Fail(ReadError::Syntax, "a digit");
  };
  if (text_[position_] == '-') ++position_;
  if (!needDigit()) return false;
  if (text_[position_] == '0') {
    ++position_;
  } else {
    digits();
  }
  bool integral = true;
  if (!AtEnd() && text_[position_] == '.') {
    ++position_;
    integral = false;
    if (!needDigit()) return false;
    digits();
  }
  if (!AtEnd() && (text_[position_] == 'e' || text_[position_] == 'E')) {
    ++position_;
    integral = false;
    if (!AtEnd() && (text_[position_] == '+' || text_[position_] == '-')) ++position_;
    if (!needDigit()) return false;
    digits();
  }
  if (position_ - start > limits_.maxStringLength) {
    position_ = start;
    return Fail(ReadError::StringLength);
  }
  token.type = TokenType::Number;
  token.text = text_.substr(start, position_ - start);
  token.integral = integral;
  AfterValue();
  return true;
}

bool Reader::ReadString(std::string_view& out) {
  std::size_t const start = ++position_;  // past the opening quote
  char const* const data = text_.data();
  std::size_t const size = text_.size();
  // Most strings are plain ASCII without escapes: hand out a view of the text itself.
  std::size_t i = start;
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  for (; i + 8 <= size; i += 8) {
    uint64_t word;
    std::memcpy(&word, data + i, sizeof word);
    if (uint64_t const special = SpecialBytes(word)) {
      i += static_cast<std::size_t>(__builtin_ctzll(special)) / 8;
      break;
    }
  }
#endif
  while (i < size) {
    auto const c = static_cast<unsigned char>(data[i]);
    if (c == '"' || c == '\\' || c < 0x20 || c >= 0x80) break;
    ++i;
  }
  if (i < size && data[i] == '"') {
    if (i - start > limits_.maxStringLength) return Fail(ReadError::StringLength);
    out = text_.substr(start, i - start);
    position_ = i + 1;
    return true;
  }
  scratch_.assign(data + start, i - start);
  position_ = i;
  for (;;) {
    if (position_ - start > limits_.maxStringLength) return Fail(ReadError::StringLength);
    if (AtEnd()) return Fail(ReadError::Truncated);
    auto const c = static_cast<unsigned char>(data[position_]);
    if (c == '"') {
      ++position_;
      out = scratch_;
      return true;
    }
    if (c == '\\') {
      if (!ReadEscape()) return false;
    } else if (c < 0x20) {
      return Fail(ReadError::Syntax, "a control character written as an escape");
    } else if (c < 0x80) {
      scratch_ += static_cast<char>(c);
      ++position_;
    } else {
      std::size_t const length =
          Utf8Length(reinterpret_cast<unsigned char const*>(data) + position_, size - position_);
      if (length == 0) return Fail(ReadError::Utf8);
      scratch_.append(data + position_, length);
      position_ += length;
    }
  }
}

bool Reader::ReadEscape() {
  if (position_ + 1 >= text_.size()) return Fail(ReadError::Truncated);
  char const e = text_[position_ + 1];
  char simple = 0;
  switch (e) {
    case '"':
      simple = '"';
      break;
    case '\\':
      simple = '\\';
      break;
    case '/':
      simple = '/';
      break;
    case 'b':
      simple = '\b';
      break;
    case 'f':
      simple = '\f';
      break;
    case 'n':
      simple = '\n';
      break;
    case 'r':
      simple = '\r';
      break;
    case 't':
      simple = '\t';
      break;
    case 'u':
      break;
    default:
      return Fail(ReadError::Syntax, "a valid escape");
  }
  if (simple != 0) {
    scratch_ += simple;
    position_ += 2;
    return true;
  }
  auto hex4 = [this](std::size_t at, uint32_t& code) {
    if (at + 4 > text_.size()) return Fail(ReadError::Truncated);
    code = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      int const digit = HexValue(text_[at + k]);
      if (digit < 0) return Fail(ReadError::Syntax, "four hexadecimal digits");
      code = code * 16 + static_cast<uint32_t>(digit);
    }
    return true;
  };
  uint32_t code = 0;
  if (!hex4(position_ + 2, code)) return false;
  std::size_t consumed = 6;
  if (code >= 0xDC00 && code <= 0xDFFF) return Fail(ReadError::Utf8);
  if (code >= 0xD800 && code <= 0xDBFF) {
    std::size_t const next = position_ + 6;
    if (next + 2 > text_.size()) return Fail(ReadError::Truncated);
    if (text_[next] != '\\' || text_[next + 1] != 'u') return Fail(ReadError::Utf8);
    uint32_t low = 0;
    if (!hex4(next + 2, low)) return false;
    if (low < 0xDC00 || low > 0xDFFF) return Fail(ReadError::Utf8);
    code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    consumed = 12;
  }
  AppendUtf8(scratch_, code);
  position_ += consumed;
  return true;
}

}  // namespace internal
}  // namespace Json
}  // namespace Opax
