#pragma once

#include <opax/core/message/base_message.h>

#include <list>
#include <map>
#include <string>

namespace Opax {
namespace L10n {
namespace internal {

// Reads the content of one catalogue file (the format is described with MessageCatalog) into
// id -> text. False with a message per faulty line, naming `path` and the line number, when any
// line is faulty; `texts` is then left as it was.
bool ParseCatalog(std::string const& content, std::string const& path,
                  std::map<std::string, std::string>& texts, std::list<BaseMessage>& messages);

}  // namespace internal
}  // namespace L10n
}  // namespace Opax
