#include "tests/support/RunProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace dovrel::testing {

namespace {

// Owns one file descriptor.
class FileDescriptor {
  public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~FileDescriptor() { reset(); }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }
    void reset(int fd = -1) {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        fd_ = fd;
    }

  private:
    int fd_;
};

std::pair<FileDescriptor, FileDescriptor> makePipe() {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2 failed");
    }
    return {FileDescriptor(fds[0]), FileDescriptor(fds[1])};
}

}  // namespace

ProgramResult runProgram(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::optional<std::string>>& environment) {
    auto [outRead, outWrite] = makePipe();
    auto [errRead, errWrite] = makePipe();

    // Everything the child needs is made before the fork: between fork and exec the child may
    // only make async-signal-safe calls, since another thread of the test may have held the
    // allocator's lock at the moment of the fork.
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const auto equals = text.find('=');
        if (equals != std::string::npos) {
            variables[text.substr(0, equals)] = text.substr(equals + 1);
        }
    }
    for (const auto& [name, value] : environment) {
        if (value) {
            variables[name] = *value;
        } else {
            variables.erase(name);
        }
    }
    std::vector<std::string> entries;
    entries.reserve(variables.size());
    for (const auto& [name, value] : variables) {
        entries.push_back(name + "=" + value);
    }
    std::vector<char*> envp;
    for (auto& entry : entries) {
        envp.push_back(entry.data());
    }
    envp.push_back(nullptr);
    std::vector<char*> argv;
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    const pid_t pid = ::fork();
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid == 0) {
        // Child: only async-signal-safe calls, then _exit on any failure.
        const int devNull = ::open("/dev/null", O_RDONLY);
        ::dup2(devNull, STDIN_FILENO);
        ::dup2(outWrite.get(), STDOUT_FILENO);
        ::dup2(errWrite.get(), STDERR_FILENO);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }

    outWrite.reset();
    errWrite.reset();
    ProgramResult result;
    std::array<pollfd, 2> polls{{{outRead.get(), POLLIN, 0}, {errRead.get(), POLLIN, 0}}};
    std::array<std::string*, 2> sinks{&result.standardOutput, &result.standardError};
    int open = 2;
    while (open > 0) {
        if (::poll(polls.data(), polls.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        for (std::size_t i = 0; i < polls.size(); ++i) {
            if (polls[i].fd < 0 || polls[i].revents == 0) {
                continue;
            }
            char buffer[4096];
            const ssize_t count = ::read(polls[i].fd, buffer, sizeof buffer);
            if (count > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(count));
            } else if (count == 0 || errno != EINTR) {
                polls[i].fd = -1;
                --open;
            }
        }
    }

    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

std::string programOnPath(const std::string& name) {
    const char* path = std::getenv("PATH");
    const std::string directories = path != nullptr ? path : "/usr/bin:/bin";
    std::size_t start = 0;
    while (start <= directories.size()) {
        const auto end = std::min(directories.find(':', start), directories.size());
        const auto candidate = std::filesystem::path(directories.substr(start, end - start)) / name;
        if (::access(candidate.c_str(), X_OK) == 0) {
            return candidate.string();
        }
        start = end + 1;
    }
    return name;
}

}  // namespace dovrel::testing
