#include <opax/core/l10n/message_catalog.h>

#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/l10n/internal/catalog_parser.h>
#include <opax/core/l10n/localizer.h>
#include <opax/core/message/message.h>
#include <opax/core/message/message_ids.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace Opax {
namespace L10n {
namespace {

namespace fs = std::filesystem;
using Fields = Data::LocalizableMessageFields;

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// The shape of a language tag ("de", "pt-br", "sr-latn-rs"), in lower case; "en" is the table.
bool IsCatalogLanguage(std::string const& tag) {
  if (tag.empty() || tag.size() > 35 || tag == "en" || tag.front() == '-' || tag.back() == '-') return false;
  if (tag.find("--") != std::string::npos) return false;
  return std::all_of(tag.begin(), tag.end(),
                     [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-'; });
}

// ---- Localize: a walk of the value tree that copies only the compounds above a change.

bool IsCompound(Data::Kind kind) {
  return kind == Data::Kind::Structure || kind == Data::Kind::Error || kind == Data::Kind::Map;
}

// A new compound of the same kind and name that shares every field value of `source`, in the
// same order.
std::shared_ptr<Data::CompoundValue> ShallowCopy(Data::CompoundValue const& source) {
  std::shared_ptr<Data::CompoundValue> copy;
  if (source.kind() == Data::Kind::Error) {
    copy = Data::ErrorValue::GetInstance(source.name());
  } else if (source.kind() == Data::Kind::Map) {
    copy = Data::MapValue::GetInstance();
  } else {
    copy = Data::StructValue::GetInstance(source.name());
  }
  copy->fields().CopyNamesFrom(source.fields());
  auto target = copy->fields().inOrder().begin();
  for (Data::FieldMap::Field const& field : source.fields().inOrder()) (target++)->value() = field.value();
  return copy;
}

// A compound, list or optional being walked, with its copy once a child of it has changed.
class Frame {
 public:
  explicit Frame(std::shared_ptr<Data::DataValue const> original) : original_(std::move(original)) {
    if (IsCompound(original_->kind())) {
      auto const fields = static_cast<Data::CompoundValue const&>(*original_).fields().inOrder();
      field_ = fields.begin();
      fieldsEnd_ = fields.end();
    }
  }

  // Values whose children may hold a message; typed lists hold strings or integers only.
  static bool Walks(Data::DataValue const& value) {
    if (IsCompound(value.kind()) || value.kind() == Data::Kind::Optional) return true;
    return value.kind() == Data::Kind::List && !static_cast<Data::ListValue const&>(value).isTyped();
  }

  // The next child to visit (null slots included), or null when every child has been visited.
  std::shared_ptr<Data::DataValue const> const* Next() {
    lastChild_ = NextSlot();
    return lastChild_;
  }
  // The child that Next returned last, as the original holds it.
  Data::DataValue const* Current() const { return lastChild_->get(); }

  // Puts `value` in place of the child that Next returned last.
  void Replace(std::shared_ptr<Data::DataValue const> value) {
    if (IsCompound(original_->kind())) {
      if (!copy_) copy_ = ShallowCopy(static_cast<Data::CompoundValue const&>(*original_));
      static_cast<Data::CompoundValue&>(*copy_).SetField(lastName_, std::move(value));
    } else if (original_->kind() == Data::Kind::Optional) {
      copy_ = Data::OptionalValue::GetInstance(std::move(value));
    } else {
      if (!copy_) {
        auto const& source = static_cast<Data::ListValue const&>(*original_);
        auto list = std::make_shared<Data::ListValue>(source.elementKind());
        list->values() = source.values();
        copy_ = std::move(list);
      }
      static_cast<Data::ListValue&>(*copy_).values()[next_ - 1] = std::move(value);
    }
  }

  std::shared_ptr<Data::DataValue const> Result() const {
    return copy_ ? std::shared_ptr<Data::DataValue const>(copy_) : original_;
  }

 private:
  std::shared_ptr<Data::DataValue const> const* NextSlot() {
    if (IsCompound(original_->kind())) {
      if (field_ == fieldsEnd_) return nullptr;
      lastName_ = field_->name();
      return &(field_++)->value();
    }
    if (original_->kind() == Data::Kind::Optional) {
      return next_++ == 0 ? &static_cast<Data::OptionalValue const&>(*original_).value() : nullptr;
    }
    auto const& values = static_cast<Data::ListValue const&>(*original_).values();
    return next_ < values.size() ? &values[next_++] : nullptr;
  }

  using FieldIterator = Data::FieldMap::Iterator<Data::FieldMap::Field const, false>;

  std::shared_ptr<Data::DataValue const> original_;
  std::shared_ptr<Data::DataValue> copy_;
  FieldIterator field_;
  FieldIterator fieldsEnd_;
  std::string_view lastName_;  // of the original, which this frame keeps alive
  std::shared_ptr<Data::DataValue const> const* lastChild_ = nullptr;
  std::size_t next_ = 0;
};

bool IsLocalizableMessage(Data::DataValue const& value) {
  return value.kind() == Data::Kind::Structure &&
         static_cast<Data::StructValue const&>(value).name() == Fields::kTypeName;
}

// `message` with its default message in the language of `texts`; `message` itself when the
// language has no text for its id, when the text would not change, or when the message is not
// well formed enough to render (an argument that is not a string is not guessed at).
std::shared_ptr<Data::DataValue const> LocalizeMessage(std::shared_ptr<Data::DataValue const> const& message,
                                                       std::map<std::string, std::string> const& texts) {
  auto const& structure = static_cast<Data::StructValue const&>(*message);
  std::list<BaseMessage> ignored;
  std::string id;
  auto const* idField = structure.FindField(Fields::kId);
  if (idField == nullptr || !Data::DataValue::Value(*idField, id, ignored)) return message;
  auto const text = texts.find(id);
  if (text == texts.end()) return message;

  std::vector<std::string> args;
  if (auto const* argsField = structure.FindField(Fields::kArgs)) {
    if (!*argsField || (*argsField)->kind() != Data::Kind::List) return message;
    auto const& list = static_cast<Data::ListValue const&>(**argsField);
    args.resize(list.size());
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (!Data::DataValue::Value(list.element(i), args[i], ignored)) return message;
    }
  }
  std::string rendered = Message<CoreTag>::Format(text->second, args);
  std::string current;
  auto const* currentField = structure.FindField(Fields::kDefaultMessage);
  if (currentField != nullptr && Data::DataValue::Value(*currentField, current, ignored) &&
      current == rendered) {
    return message;
  }
  std::shared_ptr<Data::CompoundValue> copy = ShallowCopy(structure);
  copy->SetField(Fields::kDefaultMessage, Data::DataValue::Create(rendered));
  return copy;
}

}  // namespace

bool MessageCatalog::LoadFile(std::string const& path, std::string const& language,
                              std::list<BaseMessage>& messages) {
  std::string const tag = Lower(language);
  if (!IsCatalogLanguage(tag)) {
    messages.push_back(BaseMessage::Make(MessageIds::kCatalogLanguage, {path, language}));
    return false;
  }
  std::ifstream in(path, std::ios::binary);
  // One byte beyond the limit tells an oversized file (or an endless device) from one at it.
  std::string content(kMaxFileBytes + 1, '\0');
  if (in.is_open()) in.read(&content[0], static_cast<std::streamsize>(content.size()));
  if (!in.is_open() || in.bad()) {
    messages.push_back(BaseMessage::Make(MessageIds::kCatalogUnreadable, {path}));
    return false;
  }
  content.resize(static_cast<std::size_t>(in.gcount()));
  if (content.size() > kMaxFileBytes) {
    messages.push_back(
        BaseMessage::Make(MessageIds::kCatalogTooLarge, {path, std::to_string(kMaxFileBytes)}));
    return false;
  }
  Texts texts;
  if (!internal::ParseCatalog(content, path, texts, messages)) return false;
  texts_[tag] = std::move(texts);
  return true;
}

bool MessageCatalog::LoadDirectory(std::string const& directory, std::list<BaseMessage>& messages) {
  std::error_code error;
  std::vector<fs::path> files;
  for (fs::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
    if (it->path().extension() == ".msg" && it->is_regular_file(error)) files.push_back(it->path());
  }
  if (error) {
    messages.push_back(BaseMessage::Make(MessageIds::kCatalogDirectory, {directory}));
    return false;
  }
  std::sort(files.begin(), files.end());  // reports in the same order on every system
  bool ok = true;
  for (fs::path const& file : files) ok = LoadFile(file.string(), file.stem().string(), messages) && ok;
  return ok;
}

std::string MessageCatalog::DefaultDirectory() {
  std::error_code error;
  if (fs::is_directory(NEXAR_MESSAGES_INSTALL_DIR, error)) return NEXAR_MESSAGES_INSTALL_DIR;
  return NEXAR_MESSAGES_SOURCE_DIR;
}

std::vector<std::string> MessageCatalog::languages() const {
  std::vector<std::string> result;
  result.reserve(texts_.size());
  for (auto const& language : texts_) result.push_back(language.first);
  return result;
}

std::string MessageCatalog::Choose(std::vector<std::string> const& preferred) const {
  std::string const english(LocaleHelpers::defaultLocale());
  for (std::string const& wanted : preferred) {
    std::string tag = Lower(wanted);
    if (tag == "*") return english;
    // "de-ch-1996", then "de-ch", then "de": a more general language serves a special one.
    for (std::string range = tag; !range.empty();) {
      if (range == english || texts_.count(range) != 0) return range;
      std::size_t const dash = range.rfind('-');
      range.resize(dash == std::string::npos ? 0 : dash);
    }
    // No general form: a regional one serves the general request ("de" takes "de-at").
    auto const regional = texts_.lower_bound(tag + "-");
    if (regional != texts_.end() && regional->first.compare(0, tag.size() + 1, tag + "-") == 0)
      return regional->first;
  }
  return english;
}

MessageCatalog::Texts const* MessageCatalog::Find(std::string const& language) const {
  auto const found = texts_.find(Lower(language));
  return found == texts_.end() ? nullptr : &found->second;
}

std::string MessageCatalog::TextFor(std::string const& language, std::string const& id,
                                    std::vector<std::string> const& args) const {
  if (Texts const* texts = Find(language)) {
    auto const text = texts->find(id);
    if (text != texts->end()) return Message<CoreTag>::Format(text->second, args);
  }
  return Message<CoreTag>::TextFor(id, args);
}

std::shared_ptr<Data::ErrorValue const> MessageCatalog::Localize(
    std::shared_ptr<Data::ErrorValue const> const& error, std::string const& language) const {
  Texts const* texts = Find(language);
  if (!error || texts == nullptr) return error;

  std::vector<Frame> work;
  work.emplace_back(error);
  std::shared_ptr<Data::DataValue const> result;
  while (!work.empty()) {
    std::shared_ptr<Data::DataValue const> const* child = work.back().Next();
    if (child != nullptr) {
      if (!*child) continue;
      if (IsLocalizableMessage(**child)) {
        std::shared_ptr<Data::DataValue const> localized = LocalizeMessage(*child, *texts);
        if (localized != *child) work.back().Replace(std::move(localized));
      } else if (Frame::Walks(**child)) {
        work.emplace_back(*child);
      }
      continue;
    }
    std::shared_ptr<Data::DataValue const> done = work.back().Result();
    work.pop_back();
    if (work.empty()) {
      result = std::move(done);
    } else if (done.get() != work.back().Current()) {
      work.back().Replace(std::move(done));
    }
  }
  return std::static_pointer_cast<Data::ErrorValue const>(result);
}

}  // namespace L10n
}  // namespace Opax
