#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>

namespace dovrel::testing {

namespace {

// libfaketime, preloaded into a child (the reminder daemon's clock tests) or run as the faketime
// program, keeps a semaphore and a shared memory object named after the process and removes them
// when the process exits; one killed by a signal leaves them behind. Left, they make a later
// process that happens to get the same pid fail at start ("sem_open: File exists"), so they are
// removed here once the child is gone.
void removeWhatLibfaketimeLeft(pid_t pid, int status) {
    if (!WIFSIGNALED(status)) {
        return;
    }
    const std::string suffix = std::to_string(static_cast<long>(pid));
    ::sem_unlink(("/faketime_sem_" + suffix).c_str());
    ::shm_unlink(("/faketime_shm_" + suffix).c_str());
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments) {
    int toChild[2];
    int fromChild[2];
    if (::pipe2(toChild, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2 failed");
    }
    if (::pipe2(fromChild, O_CLOEXEC) != 0) {
        ::close(toChild[0]);
        ::close(toChild[1]);
        throw std::runtime_error("pipe2 failed");
    }
    std::vector<char*> argv;
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ < 0) {
        for (int fd : {toChild[0], toChild[1], fromChild[0], fromChild[1]}) {
            ::close(fd);
        }
        throw std::runtime_error("fork failed");
    }
    if (pid_ == 0) {
        // Only async-signal-safe calls until exec.
        ::dup2(toChild[0], STDIN_FILENO);
        ::dup2(fromChild[1], STDOUT_FILENO);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(toChild[0]);
    ::close(fromChild[1]);
    input_ = toChild[1];
    output_ = fromChild[0];
}

ChildProcess::~ChildProcess() {
    closeInput();
    if (output_ >= 0) {
        ::close(output_);
    }
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        removeWhatLibfaketimeLeft(pid_, status);
    }
}

void ChildProcess::writeLine(const std::string& line) {
    const std::string text = line + "\n";
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(input_, text.data() + written, text.size() - written);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw std::runtime_error("writing to the child failed");
        }
        written += static_cast<std::size_t>(count);
    }
}

void ChildProcess::closeInput() {
    if (input_ >= 0) {
        ::close(input_);
        input_ = -1;
    }
}

std::optional<std::string> ChildProcess::readLine(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (auto end = buffer_.find('\n'); end != std::string::npos) {
            std::string line = buffer_.substr(0, end);
            buffer_.erase(0, end + 1);
            return line;
        }
        if (output_ < 0) {
            return std::nullopt;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        pollfd descriptor{output_, POLLIN, 0};
        const int ready = ::poll(&descriptor, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            return std::nullopt;
        }
        char chunk[4096];
        const ssize_t count = ::read(output_, chunk, sizeof chunk);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            ::close(output_);
            output_ = -1;
            continue;
        }
        buffer_.append(chunk, static_cast<std::size_t>(count));
    }
}

int ChildProcess::wait() {
    if (pid_ <= 0) {
        return -1;
    }
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    removeWhatLibfaketimeLeft(pid_, status);
    pid_ = -1;
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status);
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
}

int ChildProcess::kill() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
    }
    return wait();
}

}  // namespace dovrel::testing
