#include "render/progress_display.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace Cli {
namespace {

constexpr int kBarWidth = 30;

std::string Elapsed(std::chrono::steady_clock::time_point start) {
  auto const seconds =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
  char text[32];
  std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(seconds / 60),
                static_cast<long long>(seconds % 60));
  return text;
}

// 0..100, or -1 when the task does not say how much work there is.
int Percent(::Opax::Progress const& progress) {
  if (progress.total <= 0) return -1;
  long long const done = progress.completed < 0 ? 0 : progress.completed;
  return static_cast<int>(std::min<long long>(100, done * 100 / progress.total));
}

}  // namespace

ProgressDisplay::ProgressDisplay(std::ostream& out, bool terminal) : out_(out), terminal_(terminal) {}

void ProgressDisplay::Update(::Opax::Progress const& progress) {
  int const percent = Percent(progress);
  std::string const percentText = percent < 0 ? std::string("  ?%") : std::to_string(percent) + "%";
  if (!terminal_) {
    out_ << "progress: " << percentText;
    if (!progress.message.empty()) out_ << " " << progress.message;
    out_ << " (" << Elapsed(start_) << ")" << std::endl;
    return;
  }
  int const filled = percent < 0 ? 0 : percent * kBarWidth / 100;
  std::string bar = "[" + std::string(static_cast<std::size_t>(filled), '#') +
                    std::string(static_cast<std::size_t>(kBarWidth - filled), ' ') + "]";
  // Carriage return and erase-line redraw the bar where it stands.
  out_ << "\r\x1b[K" << bar << " " << (percentText.size() < 4 ? std::string(4 - percentText.size(), ' ') : "")
       << percentText << " " << Elapsed(start_);
  if (!progress.message.empty()) out_ << " " << progress.message;
  out_ << std::flush;
  drawn_ = true;
}

void ProgressDisplay::Finish() {
  if (terminal_ && drawn_) out_ << "\n" << std::flush;
  drawn_ = false;
}

}  // namespace Cli
