#pragma once

// The demo's output: numbered sections of aligned fields, and the expectations each step checks,
// so that a reader sees what happened and the exit code says whether it was what should happen.

#include "cluster_server.h"
#include "hardware_server.h"

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace Demo {

using Fields = std::vector<std::pair<std::string, std::string>>;

class Report {
 public:
  explicit Report(std::ostream& out) : out_(out) {}

  void Title(std::string const& text);
  // A numbered section.
  void Heading(std::string const& text);
  void Field(std::string const& label, std::string const& value);
  // A device: its id and label, then its fields indented below.
  void Device(std::string const& id, std::string const& label, Fields const& fields);
  // The error's id, then the text of each message it carries.
  void Error(ErrorPtr const& error);

  // Records an expectation; one that does not hold is printed where it was checked.
  bool Expect(bool holds, std::string const& what);
  // Prints `error` as the reason when there is one; true when there is none.
  bool ExpectNoError(ErrorPtr const& error, std::string const& what);
  std::vector<std::string> const& failures() const { return failures_; }
  // The closing line.
  void Verdict();

 private:
  std::ostream& out_;
  int section_ = 0;
  std::vector<std::string> failures_;
};

// Readable fields of a device as read back from the server.
Fields Describe(CdromSvc::Info const& info);
Fields Describe(EthernetSvc::Info const& info);

}  // namespace Demo
