// SPDX-License-Identifier: MIT
#include "support/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <array>
#include <stdexcept>

#include "support/Await.h"

namespace orx::testing {

namespace {

struct Pipe {
  FileDescriptor reading;
  FileDescriptor writing;

  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
    reading = FileDescriptor(ends[0]);
    writing = FileDescriptor(ends[1]);
  }
};

}  // namespace

Program::Program(const std::vector<std::string>& command, std::string_view input) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const auto& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  Pipe standardInput;
  Pipe standardOutput;
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("cannot fork");
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);
    dup2(standardInput.reading.get(), STDIN_FILENO);
    dup2(standardOutput.writing.get(), STDOUT_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  setpgid(process_, process_);
  output_ = std::move(standardOutput.reading);
  if (write(standardInput.writing.get(), input.data(), input.size()) !=
      static_cast<ssize_t>(input.size())) {
    throw std::runtime_error("cannot write to " + command[0]);
  }
}

Program::~Program() { kill(); }

std::string Program::readLine() {
  std::string line;
  const auto limit = std::chrono::milliseconds(patience).count();
  while (true) {
    pollfd waiting{.fd = output_.get(), .events = POLLIN, .revents = 0};
    char letter = 0;
    if (poll(&waiting, 1, static_cast<int>(limit)) != 1 || read(output_.get(), &letter, 1) != 1) {
      throw std::runtime_error("a program wrote no line");
    }
    if (letter == '\n') return line;
    line += letter;
  }
}

void Program::kill() {
  if (process_ <= 0) return;
  ::kill(-process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

}  // namespace orx::testing
