#pragma once

#include <opax/core/data/compound_value.h>
#include <opax/core/message/base_message.h>

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Opax {
namespace L10n {

// Message texts in languages other than the built-in English table, loaded from files (one file
// per language). A text has the same numbered placeholders as its English original. An id that a
// language lacks falls back to the English text, so that nothing reported is lost.
class MessageCatalog {
 public:
  MessageCatalog() = default;

  // Adds the texts of one language from a file; false with messages when the file cannot be read
  // or has a malformed line (nothing of that file is added then).
  bool LoadFile(std::string const& path, std::string const& language, std::list<BaseMessage>& messages);
  // Loads every "<language>.msg" file of a directory.
  bool LoadDirectory(std::string const& directory, std::list<BaseMessage>& messages);

  // The languages with texts besides English.
  std::vector<std::string> languages() const;
  // The first of `preferred` that the catalogue has ("de-CH" matches "de"), else "en".
  std::string Choose(std::vector<std::string> const& preferred) const;

  // The text of `id` in `language` with `args` filled in; the English text when the language
  // lacks the id.
  std::string TextFor(std::string const& language, std::string const& id, std::vector<std::string> const& args) const;

  // `error` with the default message of each of its messages rendered in `language`. Returns
  // `error` itself when there is nothing to change.
  std::shared_ptr<Data::ErrorValue const> Localize(std::shared_ptr<Data::ErrorValue const> const& error,
                                                   std::string const& language) const;

 private:
  std::map<std::string, std::map<std::string, std::string>> texts_;  // language -> id -> text
};

}  // namespace L10n
}  // namespace Opax
