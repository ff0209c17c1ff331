#include "report.h"

#include <iomanip>

namespace VmTour {
namespace {

constexpr int kLabelWidth = 14;

}  // namespace

void Report::Step(std::string const& title) {
  // Right-aligned numbers, so that the details of every step line up.
  out_ << "\n" << std::right << std::setw(2) << ++step_ << ". " << title << "\n";
}

void Report::Detail(std::string const& label, std::string const& text) {
  out_ << "    " << std::left << std::setw(kLabelWidth) << label << text << "\n";
}

void Report::ShowMessages(std::list<::Opax::BaseMessage> const& messages) {
  // Each message comes with its text filled in; its id is what a program would test or translate.
  for (auto const& message : messages)
    Detail("message", message.defaultMessage() + "  [" + message.id() + "]");
}

void Report::ShowError(ErrorPtr const& error) {
  if (!error) return;
  Detail("error", std::string(error->name()));
  ShowMessages(error->messages());
}

void Report::Failed(std::string const& what, ErrorPtr const& error) {
  ++failures_;
  Detail("FAILED", what);
  ShowError(error);
}

void Report::Failed(std::string const& what, std::list<::Opax::BaseMessage> const& messages) {
  ++failures_;
  Detail("FAILED", what);
  ShowMessages(messages);
}

void Report::Skipped(std::string const& why) { Detail("skipped", why); }

int Report::Finish() {
  out_ << "\n";
  if (failures_ == 0) {
    out_ << "vm_tour: every step did what it should.\n";
    return 0;
  }
  out_ << "vm_tour: " << failures_ << (failures_ == 1 ? " step" : " steps")
       << " failed (see FAILED above).\n";
  return 1;
}

}  // namespace VmTour
