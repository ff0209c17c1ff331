#pragma once

// How the tour tells what it does: a numbered heading per step, what came back, and every failure
// with the error's name and the server's messages. The failures are counted, so that the program
// can end with a non-zero status when any step failed.

#include "wait.h"

#include <opax/core/message/base_message.h>

#include <list>
#include <ostream>
#include <string>

namespace VmTour {

class Report {
 public:
  explicit Report(std::ostream& out) : out_(out) {}

  void Step(std::string const& title);
  void Detail(std::string const& label, std::string const& text);
  // Prints the error's name and each of its messages, and counts the step as failed.
  void Failed(std::string const& what, ErrorPtr const& error);
  // The same for a failure found on this side, before anything was sent.
  void Failed(std::string const& what, std::list<::Opax::BaseMessage> const& messages);
  // A step that cannot run because one it needs failed; not counted again.
  void Skipped(std::string const& why);
  // Prints an error without counting it: for a refusal the tour asked for.
  void ShowError(ErrorPtr const& error);

  int failures() const { return failures_; }
  // The closing line; returns the exit status (0 when every step did what it should).
  int Finish();

 private:
  std::ostream& out_;
  void ShowMessages(std::list<::Opax::BaseMessage> const& messages);

  int step_ = 0;
  int failures_ = 0;
};

}  // namespace VmTour
