// nexar-demo: hosts virtual hardware and cluster services in process and drives them through the
// generated stubs. Exits non-zero when a step did not behave as expected.

#include "scenario.h"

#include <exception>
#include <iostream>

int main() {
  try {
    return Demo::RunScenario(std::cout).ok() ? 0 : 1;
  } catch (std::exception const& error) {
    // Nothing should throw; if something does, say what rather than abort without a word.
    std::cerr << "nexar-demo: " << error.what() << "\n";
    return 2;
  }
}
