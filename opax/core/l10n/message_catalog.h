#pragma once

#include <opax/core/data/compound_value.h>
#include <opax/core/message/base_message.h>

#include <cstddef>
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
//
// A catalogue is filled once and then shared as `std::shared_ptr<MessageCatalog const>`; the
// const members only read, so any number of requests use it at once without a lock.
//
// The file format, UTF-8, one entry per line:
//   # a comment; blank lines are ignored too
//   opax.task.unknown = Es gibt keine Aufgabe mit der ID '{0}'.
// The id and the text are trimmed of spaces and tabs; in the text, \n, \t and \\ stand for a
// line break, a tab and a backslash, and {{ and }} for literal braces, as in the English table.
// Any fault (see LoadFile) rejects the whole file, so a half-read translation never mixes in.
class MessageCatalog {
 public:
  static constexpr std::size_t kMaxFileBytes = 1024 * 1024;
  static constexpr std::size_t kMaxLineBytes = 4096;
  // Faulty lines reported per file; the rest of a file that bad is not worth reading.
  static constexpr std::size_t kMaxReportedLines = 20;

  MessageCatalog() = default;

  // Adds the texts of one language from a file, replacing what that language had. False with
  // messages, naming the file and line, when the file cannot be read, exceeds a limit, holds
  // invalid UTF-8, a malformed line or escape, an id twice, an id the English table does not
  // know, or a placeholder that the English text of its id does not have; nothing of that file
  // is added then. Unknown ids are refused rather than skipped: a typo in an id would otherwise
  // leave that message in English without anyone noticing, and without an English text there is
  // nothing to check the placeholders against. `language` is a tag ("de", "pt-BR"; kept in lower
  // case) other than "en", whose texts are the built-in table.
  bool LoadFile(std::string const& path, std::string const& language, std::list<BaseMessage>& messages);
  // Loads every "<language>.msg" file of a directory, each as LoadFile does; false when the
  // directory or any of its files cannot be loaded (the good files are kept).
  bool LoadDirectory(std::string const& directory, std::list<BaseMessage>& messages);

  // The directory of the catalogues that ship with the library: the installed
  // "share/nexar/messages" when it exists, else the one in the source tree the library was built
  // from, so that tests and tools run from a build tree find them too.
  static std::string DefaultDirectory();

  // The languages with texts besides English, in lower case and sorted.
  std::vector<std::string> languages() const;
  // The first of `preferred` that the catalogue has, else "en". Tags match as Accept-Language
  // users expect: case does not matter, "de-CH" falls back to "de", "de" takes "de-AT" when that
  // is the only German there is, and "en" (or "en-US", or "*") chooses the built-in English.
  std::string Choose(std::vector<std::string> const& preferred) const;

  // The text of `id` in `language` with `args` filled in; the English text when the language
  // lacks the id.
  std::string TextFor(std::string const& language, std::string const& id,
                      std::vector<std::string> const& args) const;

  // `error` with the default message of each of its messages rendered in `language`. Returns
  // `error` itself when there is nothing to change.
  //
  // Every localizable-message structure in the tree is rendered, wherever it sits (the error's
  // "messages", or an error carried in its "data"); only its "default_message" changes, and only
  // when the language has a text for its id, so a message the catalogue lacks keeps the English
  // text it came with. Everything else is shared with `error`, unknown fields included, and only
  // the compounds on the way to a changed message are new. Arguments are text already (a secret
  // never became one), so rendering adds nothing that was not in the message.
  std::shared_ptr<Data::ErrorValue const> Localize(std::shared_ptr<Data::ErrorValue const> const& error,
                                                   std::string const& language) const;

 private:
  using Texts = std::map<std::string, std::string>;  // id -> text
  Texts const* Find(std::string const& language) const;

  std::map<std::string, Texts> texts_;  // language -> id -> text
};

}  // namespace L10n
}  // namespace Opax
