#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace dovrel::testing {

// A program running beside the test, spoken to line by line: its standard input and output are
// pipes of the test, its standard error is the test's. Destroying a running child kills it
// (SIGKILL) and reaps it.
class ChildProcess {
  public:
    // Starts `arguments[0]` with the arguments. Throws std::runtime_error when it cannot start.
    explicit ChildProcess(const std::vector<std::string>& arguments);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    // Writes `line` and a newline to the child's standard input.
    void writeLine(const std::string& line);
    // Closes the child's standard input (it reads end of file).
    void closeInput();
    // The next line the child wrote (without the newline), or nothing when none came within
    // `timeout` or the child closed its output.
    std::optional<std::string> readLine(std::chrono::milliseconds timeout);
    // Waits for the child to end; its exit code, or 128 + the signal number.
    int wait();
    // Kills the child with SIGKILL and waits for it; wait()'s answer (128 + 9 unless it had
    // already ended).
    int kill();
    // The child's process id, for signals other than SIGKILL (SIGSTOP, SIGTERM); -1 once reaped.
    pid_t pid() const noexcept { return pid_; }

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string buffer_;
};

}  // namespace dovrel::testing
