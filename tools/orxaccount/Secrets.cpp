// SPDX-License-Identifier: MIT
#include "Secrets.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <iostream>
#include <utility>

#include "Failure.h"

namespace tool {
namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
volatile std::sig_atomic_t caughtSignal = 0;

// Switches the terminal's echo off while it lives. Signals that would end or stop the process are
// delivered after the echo is on again, or the user's shell would stay without it. They are noticed
// in waitForKey() alone: one that came between a look at `caughtSignal` and the wait would be
// noticed at the next key.
class QuietTerminal {
 public:
  explicit QuietTerminal(int terminal) : terminal_(terminal) {
    caughtSignal = 0;
    struct sigaction note = {};
    note.sa_handler = [](int signal) { caughtSignal = signal; };
    sigset_t ending;
    sigemptyset(&ending);
    for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
      sigaddset(&ending, kEndingSignals[i]);
      sigaction(kEndingSignals[i], &note, &before_[i]);
    }
    pthread_sigmask(SIG_BLOCK, &ending, &maskBefore_);
    tcgetattr(terminal_, &shown_);
    termios hidden = shown_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    hidden.c_lflag |= ECHONL;
    tcsetattr(terminal_, TCSAFLUSH, &hidden);
  }
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;
  ~QuietTerminal() {
    tcsetattr(terminal_, TCSAFLUSH, &shown_);
    for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
      sigaction(kEndingSignals[i], &before_[i], nullptr);
    }
    pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
    if (caughtSignal != 0) raise(caughtSignal);
  }

  // False when a signal came.
  bool waitForKey() const {
    pollfd key{terminal_, POLLIN, 0};
    while (caughtSignal == 0) {
      if (ppoll(&key, 1, nullptr, &maskBefore_) >= 0 || errno != EINTR) return caughtSignal == 0;
    }
    return false;
  }

 private:
  int terminal_;
  termios shown_ = {};
  sigset_t maskBefore_ = {};
  std::array<struct sigaction, kEndingSignals.size()> before_ = {};
};

// Reads up to the line's end; stops at end of file, at an error and at a signal.
std::string readLine(int file, const QuietTerminal& terminal) {
  std::string line;
  char letter = 0;
  while (terminal.waitForKey()) {
    const ssize_t count = read(file, &letter, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || letter == '\n') break;
    line.push_back(letter);
  }
  return line;
}

}  // namespace

std::string askForSecret(const std::string& prompt, const std::string& optionForScripts) {
  const int terminal = open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
  if (terminal < 0) {
    throw usageFailure("there is no terminal to ask on; pipe the text in with " + optionForScripts);
  }
  const std::string question = prompt + ": ";
  std::string answer;
  bool ended = false;
  do {
    if (write(terminal, question.data(), question.size()) < 0) break;
    {
      const QuietTerminal quiet(terminal);
      answer = readLine(terminal, quiet);
      ended = caughtSignal == 0;
    }
    // The process was stopped and continued: ask again, because the shell has written below.
  } while (!ended);
  close(terminal);
  if (answer.empty()) throw usageFailure("nothing was entered");
  return answer;
}

std::string askForNewSecret(const std::string& prompt, const std::string& optionForScripts) {
  std::string answer = askForSecret(prompt, optionForScripts);
  if (askForSecret(prompt + " once more", optionForScripts) != answer) {
    throw usageFailure("the two answers differ");
  }
  return answer;
}

std::string readSecretLine(const std::string& option) {
  std::string line;
  if (!std::getline(std::cin, line)) {
    throw usageFailure(option + ": standard input holds no line");
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (line.empty()) throw usageFailure(option + ": the line is empty");
  return line;
}

std::string readSecretFile(const std::string& file) {
  constexpr std::size_t kLargest = std::size_t{4} << 20;
  std::ifstream stream(file, std::ios::binary);
  std::string text(kLargest + 1, '\0');
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  if (!stream.is_open() || stream.bad()) throw usageFailure("cannot read " + file);
  if (text.size() > kLargest) throw usageFailure(file + " is larger than 4 MB");
  if (text.ends_with('\n')) text.pop_back();
  if (text.ends_with('\r')) text.pop_back();
  if (text.empty()) throw usageFailure(file + " is empty");
  return text;
}

std::string lowered(std::string text) {
  for (char& letter : text) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return text;
}

std::string lettersOf(const std::string& name) {
  std::string letters = lowered(name);
  std::erase_if(letters, [](char letter) { return letter < 'a' || letter > 'z'; });
  return letters;
}

bool namesTicket(const std::string& name) {
  return lettersOf(name).find("ticket") != std::string::npos;
}

std::string ticketFor(const ParameterOptions& input) {
  if (input.ticketFromInput()) return readSecretLine("--ticket-stdin");
  return askForSecret("Ticket", "--ticket-stdin");
}

}  // namespace tool
