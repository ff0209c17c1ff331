// The real `nexar` against a real `nexar-sim` over loopback (and its embedded simulator).

#include "exit_codes.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <cstdlib>

#include <string>
#include <vector>

namespace Cli {
namespace {

constexpr char kPassword[] = "test-password-1";

struct Outcome {
  int exit = -1;
  std::string out, err;
};

// Runs `program` with `args`, `input` on its standard input and `env` added to the environment;
// killed after 60 seconds so that a hung call fails the test instead of stalling it.
Outcome RunProgram(char const* program, std::vector<std::string> const& args, std::string const& input = "",
                   std::vector<std::string> const& env = {}) {
  int in[2], out[2], err[2];
  if (::pipe(in) != 0 || ::pipe(out) != 0 || ::pipe(err) != 0) return {};
  pid_t const pid = ::fork();
  if (pid == 0) {
    ::dup2(in[0], 0);
    ::dup2(out[1], 1);
    ::dup2(err[1], 2);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) ::close(fd);
    for (auto const& setting : env) ::putenv(const_cast<char*>(setting.c_str()));
    std::vector<char*> argv{const_cast<char*>(program)};
    for (auto const& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    ::execv(program, argv.data());
    ::_exit(127);
  }
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  if (!input.empty()) (void)!::write(in[1], input.data(), input.size());
  ::close(in[1]);
  Outcome run;
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string* sinks[2] = {&run.out, &run.err};
  auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  int open = 2;
  while (open > 0 && std::chrono::steady_clock::now() < deadline) {
    if (::poll(fds, 2, 1000) <= 0) continue;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
      char buffer[4096];
      ssize_t const n = ::read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<std::size_t>(n));
      } else {
        ::close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  if (open > 0) ::kill(pid, SIGKILL);
  for (auto const& fd : fds) {
    if (fd.fd >= 0) ::close(fd.fd);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  run.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

class EndToEnd : public ::testing::Test {
 protected:
  // One simulator for the suite, on a port the system picks; its first line names the URL.
  static void SetUpTestSuite() {
    int out[2];
    ASSERT_EQ(::pipe(out), 0);
    simulator_ = ::fork();
    if (simulator_ == 0) {
      ::dup2(out[1], 1);
      ::close(out[0]);
      ::close(out[1]);
      ::execl(NEXAR_SIM_BIN, NEXAR_SIM_BIN, "--listen", "127.0.0.1:0", "--password", kPassword,
              static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::close(out[1]);
    std::string text;
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    pollfd fd{out[0], POLLIN, 0};
    while (text.find('\n') == std::string::npos && std::chrono::steady_clock::now() < deadline) {
      if (::poll(&fd, 1, 1000) <= 0) continue;
      char buffer[256];
      ssize_t const n = ::read(out[0], buffer, sizeof buffer);
      if (n <= 0) break;
      text.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(out[0]);
    std::size_t const at = text.find("http://");
    ASSERT_NE(at, std::string::npos) << text;
    url_ = text.substr(at, text.find('\n', at) - at);
    char pattern[] = "/tmp/nexar-cli-test-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    config_ = pattern;
  }
  static void TearDownTestSuite() {
    if (simulator_ > 0) {
      ::kill(simulator_, SIGTERM);
      ::waitpid(simulator_, nullptr, 0);
    }
    std::string const session = config_ + "/nexar/session";
    ::unlink(session.c_str());
    ::rmdir((config_ + "/nexar").c_str());
    ::rmdir(config_.c_str());
  }

  // nexar against the simulator, with a configuration directory of the test's own.
  static Outcome Nexar(std::vector<std::string> args, std::string const& input = "") {
    args.insert(args.begin(), {"--server", url_});
    return RunProgram(NEXAR_BIN, args, input, {"XDG_CONFIG_HOME=" + config_, "LANG=C"});
  }
  static Outcome Login() {
    return Nexar({"login", "--user", "admin", "--password-stdin"}, std::string(kPassword) + "\n");
  }

  static pid_t simulator_;
  static std::string url_;
  static std::string config_;
};

pid_t EndToEnd::simulator_ = -1;
std::string EndToEnd::url_;
std::string EndToEnd::config_;

TEST_F(EndToEnd, LoginKeepsAPrivateSessionThatCallsUseAndLogoutEnds) {
  std::string const file = config_ + "/nexar/session";
  EXPECT_EQ(Nexar({"call", "com.quarn.sim.control", "get_faults"}).exit, kExitUnauthenticated);
  EXPECT_EQ(Nexar({"login", "--user", "admin", "--password-stdin"}, "wrong\n").exit, kExitUnauthenticated);

  Outcome const login = Login();
  ASSERT_EQ(login.exit, kExitOk) << login.err;
  struct stat info {};
  ASSERT_EQ(::stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  ASSERT_EQ(::stat((config_ + "/nexar").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  EXPECT_EQ(login.out.find(kPassword), std::string::npos);

  Outcome const call = Nexar({"call", "com.quarn.sim.control", "get_faults"});
  EXPECT_EQ(call.exit, kExitOk) << call.err;
  EXPECT_NE(call.out.find("\"latency_ms\": 0"), std::string::npos) << call.out;

  EXPECT_EQ(Nexar({"logout"}).exit, kExitOk);
  EXPECT_NE(::stat(file.c_str(), &info), 0);
  EXPECT_EQ(Nexar({"call", "com.quarn.sim.control", "get_faults"}).exit, kExitUnauthenticated);
}

TEST_F(EndToEnd, CommandsAnswerWithTheirOutputAndExitCode) {
  ASSERT_EQ(Login().exit, kExitOk);
  struct Case {
    std::vector<std::string> args;
    int exit;
    char const* inOut;  // a piece of stdout, or of stderr when the command fails
  };
  std::vector<Case> const cases{
      {{"services", "sim.control"}, kExitOk, "com.quarn.sim.control  "},
      {{"describe", "com.quarn.sim.control"}, kExitOk, "set_faults"},
      {{"describe", "com.quarn.sim.control", "set_faults"}, kExitOk, "latency_ms: integer"},
      {{"describe", "no.such.service"}, kExitUsage, "no service"},
      {{"call", "com.quarn.sim.control", "save_snapshot", R"({"name":"before"})"}, kExitOk, ""},
      {{"call", "com.quarn.sim.control", "list_snapshots"}, kExitOk, "\"before\""},
      // A declared error of the operation.
      {{"call", "com.quarn.sim.control", "restore_snapshot", R"({"name":"never-saved"})"},
       kExitOperationError,
       "not_found"},
      {{"call", "com.quarn.sim.control", "set_faults", R"({"faults":{"latency_ms":"slow"}})"},
       kExitUsage,
       "faults.latency_ms"},
      {{"call", "com.quarn.sim.control", "get_faults", "{not json"}, kExitUsage, "does not fit"},
      {{"call", "com.quarn.sim.control", "no_such_op"}, kExitUsage, "no operation"},
      {{"task", "get", "no-such-task"}, kExitOperationError, "not_found"},
      {{"call", "com.quarn.nexar.vm", "get", R"({"vm":"vm-999"})"}, kExitOperationError, "not_found"},
      {{"call", "com.quarn.nexar.vm", "list", "--output", "table"}, kExitOk, "POWER_STATE"},
      // A task off a terminal: plain progress lines, then the clone's id.
      {{"call", "com.quarn.nexar.vm", "clone", "--task",
        R"({"spec":{"source":"vm-3","name":"lines-clone"}})"},
       kExitOk,
       "\"vm-"},
      {{"__complete", "--", "call"}, kExitOk, "com.quarn.sim.control\n"},
      {{"__complete", "--", "describe", "--server", "x", "com.quarn.sim.control"},
       kExitOk,
       "restore_snapshot\n"},
  };
  for (auto const& c : cases) {
    Outcome const run = Nexar(c.args);
    EXPECT_EQ(run.exit, c.exit) << c.args[0] << " " << c.args.back() << ": " << run.err;
    std::string const& where = c.exit == kExitOk ? run.out : run.err;
    EXPECT_NE(where.find(c.inOut), std::string::npos) << c.args.back() << ": " << where;
  }
}

TEST_F(EndToEnd, BadInputIsRefusedBeforeAnythingIsSent) {
  // Nothing listens on the named server: refusing the input must not even try to connect.
  Outcome const bad =
      RunProgram(NEXAR_BIN, {"--server", "http://127.0.0.1:1", "call", "com.quarn.sim.control", "set_faults",
                             R"({"faults":{"latency_ms":"slow"}})"});
  EXPECT_EQ(bad.exit, kExitUsage) << bad.err;
  Outcome const good = RunProgram(
      NEXAR_BIN, {"--server", "http://127.0.0.1:1", "call", "com.quarn.sim.control", "get_faults"});
  EXPECT_EQ(good.exit, kExitUnreachable) << good.err;
}

TEST_F(EndToEnd, WithoutAServerAnEmbeddedSimulatorAnswers) {
  Outcome const run = RunProgram(NEXAR_BIN, {"call", "com.quarn.sim.control", "get_faults"}, "",
                                 {"XDG_CONFIG_HOME=" + config_});
  EXPECT_EQ(run.exit, kExitOk) << run.err;
  EXPECT_NE(run.out.find("\"drop_rate\""), std::string::npos) << run.out;
  Outcome const login = RunProgram(NEXAR_BIN, {"login"}, "", {"XDG_CONFIG_HOME=" + config_});
  EXPECT_EQ(login.exit, kExitOk);
  EXPECT_NE(login.out.find("Nothing to do"), std::string::npos);
}

// Reads what the terminal shows until `until` appears or the deadline passes.
std::string ReadTerminal(int fd, std::string const& until, std::string shown = "") {
  auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  pollfd poller{fd, POLLIN, 0};
  while (shown.find(until) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
    if (::poll(&poller, 1, 500) <= 0) continue;
    char buffer[512];
    ssize_t const n = ::read(fd, buffer, sizeof buffer);
    if (n <= 0) break;
    shown.append(buffer, static_cast<std::size_t>(n));
  }
  return shown;
}

// A task call on a real terminal (the embedded simulator's): a bar redrawn in place up to 100%,
// then the result.
TEST_F(EndToEnd, ATaskShowsAProgressBarOnATerminal) {
  int terminal = -1;
  pid_t const pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    ::setenv("XDG_CONFIG_HOME", config_.c_str(), 1);
    ::unsetenv("NEXAR_SERVER");
    ::execl(NEXAR_BIN, NEXAR_BIN, "call", "com.quarn.nexar.vm", "clone", "--task",
            R"({"spec":{"source":"vm-3","name":"terminal-clone"}})", static_cast<char*>(nullptr));
    ::_exit(127);
  }
  std::string const shown = ReadTerminal(terminal, "\"vm-");
  if (shown.find("\"vm-") == std::string::npos) ::kill(pid, SIGKILL);
  int status = 0;
  ::waitpid(pid, &status, 0);
  ::close(terminal);
  EXPECT_NE(shown.find("\r\x1b[K"), std::string::npos) << "redrawn in place: " << shown;
  EXPECT_NE(shown.find("100%"), std::string::npos) << shown;
  EXPECT_EQ(shown.find("progress: "), std::string::npos) << "no plain lines on a terminal: " << shown;
}

// The password prompt on a real terminal: typed without echo, and the login goes through.
TEST_F(EndToEnd, PasswordPromptOnATerminalDoesNotEcho) {
  int terminal = -1;
  pid_t const pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    ::setenv("XDG_CONFIG_HOME", config_.c_str(), 1);
    ::execl(NEXAR_BIN, NEXAR_BIN, "--server", url_.c_str(), "login", "--user", "admin",
            static_cast<char*>(nullptr));
    ::_exit(127);
  }
  std::string shown = ReadTerminal(terminal, "Password: ");
  ASSERT_NE(shown.find("Password: "), std::string::npos) << shown;
  std::string const typed = std::string(kPassword) + "\n";
  ASSERT_EQ(::write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  shown = ReadTerminal(terminal, "Logged in", shown);
  if (shown.find("Logged in") == std::string::npos) ::kill(pid, SIGKILL);
  int status = 0;
  ::waitpid(pid, &status, 0);
  ::close(terminal);
  EXPECT_NE(shown.find("Logged in"), std::string::npos) << shown;
  EXPECT_EQ(shown.find(kPassword), std::string::npos) << shown;
  EXPECT_EQ(Nexar({"logout"}).exit, kExitOk);
}

}  // namespace
}  // namespace Cli
