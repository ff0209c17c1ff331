#include "invoke/input_text.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace Cli {

bool ReadInputText(std::string const& argument, std::string& text, std::ostream& err) {
  if (argument.empty()) {
    text = "{}";
    return true;
  }
  if (argument == "-") {
    std::ostringstream buffer;
    buffer << std::cin.rdbuf();
    text = buffer.str();
    return true;
  }
  if (argument.front() == '@') {
    std::ifstream in(argument.substr(1), std::ios::binary);
    if (!in) {
      err << "nexar: cannot read the input file '" << argument.substr(1) << "'\n";
      return false;
    }
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
  }
  text = argument;
  return true;
}

}  // namespace Cli
