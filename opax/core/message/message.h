#pragma once

#include <cstddef>
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

  // The table's own text of `id`, or null when the table does not know `id` (no fallback text).
  static char const* FindDefaultMessage(std::string const& id);
  // Every id of the table, in id order: what a translation has to cover.
  static std::vector<std::string> Ids();
  // The numbers of the placeholders that Format would fill in `text` given enough arguments, in
  // the order they appear (a number written twice is listed twice). Numbers are capped at
  // kMaxPlaceholder, so that no count of digits overflows.
  static constexpr std::size_t kMaxPlaceholder = 1000000;
  static std::vector<std::size_t> Placeholders(std::string const& text);
};

}  // namespace Opax
