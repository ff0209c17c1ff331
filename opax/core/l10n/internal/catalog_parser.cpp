#include <opax/core/l10n/internal/catalog_parser.h>

#include <opax/core/l10n/message_catalog.h>
#include <opax/core/message/message.h>
#include <opax/core/message/message_ids.h>

#include <boost/locale/utf.hpp>

#include <algorithm>
#include <string_view>
#include <utility>

namespace Opax {
namespace L10n {
namespace internal {
namespace {

using Core = Message<CoreTag>;

// Where a faulty line is reported; the file and the line are the first two arguments of every
// message about a line.
struct Place {
  std::string const& path;
  std::size_t line;

  BaseMessage Report(char const* id, std::vector<std::string> more = {}) const {
    std::vector<std::string> args{path, std::to_string(line)};
    for (std::string& arg : more) args.push_back(std::move(arg));
    return BaseMessage::Make(id, std::move(args));
  }
};

bool IsValidUtf8(std::string_view text) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  char const* p = text.data();
  char const* const end = p + text.size();
  while (p != end) {
    boost::locale::utf::code_point const c = Utf8::decode(p, end);
    if (c == boost::locale::utf::illegal || c == boost::locale::utf::incomplete) return false;
  }
  return true;
}

std::string_view Trim(std::string_view text) {
  std::size_t const begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

bool IsId(std::string_view id) {
  return !id.empty() && std::all_of(id.begin(), id.end(), [](char c) { return c > ' ' && c < 0x7f; });
}

// \n, \t and \\ only: a translator who writes any other backslash most likely meant something
// this format would silently get wrong.
bool Unescape(std::string_view text, std::string& out) {
  out.clear();
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      out += text[i];
      continue;
    }
    if (++i == text.size()) return false;
    switch (text[i]) {
      case 'n':
        out += '\n';
        break;
      case 't':
        out += '\t';
        break;
      case '\\':
        out += '\\';
        break;
      default:
        return false;
    }
  }
  return true;
}

// The placeholder of `text` that `english` lacks, as written ("{3}"), or empty when there is none.
std::string ForeignPlaceholder(std::string const& text, char const* english) {
  std::vector<std::size_t> const allowed = Core::Placeholders(english);
  for (std::size_t index : Core::Placeholders(text)) {
    if (std::find(allowed.begin(), allowed.end(), index) == allowed.end()) {
      return "{" + std::to_string(index) + "}";
    }
  }
  return {};
}

class Parser {
 public:
  Parser(std::string const& path, std::list<BaseMessage>& messages) : path_(path), messages_(messages) {}

  void Line(std::string_view raw, std::size_t number) {
    Place const at{path_, number};
    if (!raw.empty() && raw.back() == '\r') raw.remove_suffix(1);  // written on a system with CRLF lines
    if (raw.size() > MessageCatalog::kMaxLineBytes) {
      return Fault(
          at.Report(MessageIds::kCatalogLineTooLong, {std::to_string(MessageCatalog::kMaxLineBytes)}));
    }
    if (!IsValidUtf8(raw)) return Fault(at.Report(MessageIds::kCatalogUtf8));
    std::string_view const line = Trim(raw);
    if (line.empty() || line.front() == '#') return;

    std::size_t const equals = line.find('=');
    std::string_view const id = equals == std::string_view::npos ? line : Trim(line.substr(0, equals));
    std::string_view const written =
        equals == std::string_view::npos ? std::string_view() : Trim(line.substr(equals + 1));
    if (!IsId(id) || written.empty()) return Fault(at.Report(MessageIds::kCatalogLineMalformed));
    std::string text;
    if (!Unescape(written, text)) return Fault(at.Report(MessageIds::kCatalogEscape));

    std::string key(id);
    char const* const english = Core::FindDefaultMessage(key);
    if (english == nullptr) return Fault(at.Report(MessageIds::kCatalogUnknownId, {key}));
    auto const first = lines_.emplace(key, number);
    if (!first.second) {
      return Fault(at.Report(MessageIds::kCatalogDuplicateId, {key, std::to_string(first.first->second)}));
    }
    std::string const foreign = ForeignPlaceholder(text, english);
    if (!foreign.empty()) return Fault(at.Report(MessageIds::kCatalogPlaceholder, {foreign, key}));
    texts_.emplace(std::move(key), std::move(text));
  }

  bool Done() const { return faults_ >= MessageCatalog::kMaxReportedLines; }
  bool Ok() const { return faults_ == 0; }
  std::map<std::string, std::string>& texts() { return texts_; }

 private:
  void Fault(BaseMessage message) {
    ++faults_;
    messages_.push_back(std::move(message));
  }

  std::string const& path_;
  std::list<BaseMessage>& messages_;
  std::map<std::string, std::string> texts_;
  std::map<std::string, std::size_t> lines_;  // id -> the line it was first given on
  std::size_t faults_ = 0;
};

}  // namespace

bool ParseCatalog(std::string const& content, std::string const& path,
                  std::map<std::string, std::string>& texts, std::list<BaseMessage>& messages) {
  std::string_view rest(content);
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // some editors write one
  if (rest.substr(0, kByteOrderMark.size()) == kByteOrderMark) rest.remove_prefix(kByteOrderMark.size());

  Parser parser(path, messages);
  for (std::size_t number = 1; !rest.empty() && !parser.Done(); ++number) {
    std::size_t const newline = rest.find('\n');
    parser.Line(rest.substr(0, newline), number);
    rest.remove_prefix(newline == std::string_view::npos ? rest.size() : newline + 1);
  }
  if (!parser.Ok()) return false;
  texts = std::move(parser.texts());
  return true;
}

}  // namespace internal
}  // namespace L10n
}  // namespace Opax
