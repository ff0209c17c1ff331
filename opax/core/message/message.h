#pragma once

#include <string>
#include <vector>

namespace Opax {

// Tags that select a message catalogue; the core runtime's ids are in the `CoreTag` catalogue.
struct CoreTag {};

template <class Tag>
struct Message;

template <>
struct Message<CoreTag> {
  // The default text of a message id, with numbered placeholders {0}, {1}, ... for its
  // arguments. An id that the table does not know gets a text that names the id and shows every
  // argument, so that nothing reported is lost.
  static std::string DefaultMessageForId(std::string const& id);

  // Replaces each {n} of `text` by args[n]. A placeholder without an argument stays as it is;
  // "{{" and "}}" stand for literal braces.
  static std::string Format(std::string const& text, std::vector<std::string> const& args);

  // DefaultMessageForId(id) formatted with `args`; for an unknown id the arguments are listed.
  static std::string TextFor(std::string const& id, std::vector<std::string> const& args);
};

}  // namespace Opax
