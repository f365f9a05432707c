#include "files/Worker.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "files/InputError.h"

namespace tal::talstore {

namespace {

/// Before the bytes of a message stands their number.
using Length = std::uint64_t;

std::string Framed(std::string_view bytes) {
    const Length length = bytes.size();
    std::string frame(sizeof length, '\0');
    std::memcpy(frame.data(), &length, sizeof length);
    return frame.append(bytes);
}

/// Takes the first whole message out of what has arrived.
std::optional<std::string> TakeMessage(std::string& arrived) {
    Length length = 0;
    if (arrived.size() < sizeof length) {
        return std::nullopt;
    }
    std::memcpy(&length, arrived.data(), sizeof length);
    if (arrived.size() - sizeof length < length) {
        return std::nullopt;
    }
    std::string message = arrived.substr(sizeof length, static_cast<std::size_t>(length));
    arrived.erase(0, sizeof length + message.size());
    return message;
}

/// Ends the worker when nobody is left at the other end.
void SendOrLeave(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            _exit(EXIT_SUCCESS);
        }
        bytes.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
}

[[noreturn]] void WorkUntilNobodyAsks(int socket, const Worker::Work& work) {
    // Who interrupts a run means the process that has started it; that one ends its workers.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, SIG_IGN);
    }
    try {
        std::string arrived;
        std::array<char, 65536> buffer = {};
        for (ssize_t count = 0; (count = recv(socket, buffer.data(), buffer.size(), 0)) > 0;) {
            arrived.append(buffer.data(), static_cast<std::size_t>(count));
            while (const std::optional<std::string> job = TakeMessage(arrived)) {
                SendOrLeave(socket, Framed(work(*job)));
            }
        }
        _exit(EXIT_SUCCESS);
    } catch (...) {
        _exit(EXIT_FAILURE);
    }
}

[[noreturn]] void FailToStart(int error) {
    throw InputError(std::string("no process can be started: ") + std::strerror(error));
}

std::string EndText(int status) {
    if (!WIFSIGNALED(status)) {
        return "the process that read it ended with status " + std::to_string(WEXITSTATUS(status));
    }
    return "the process that read it was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
           strsignal(WTERMSIG(status)) + ')';
}

}  // namespace

Worker::Worker(const Work& work, const std::vector<std::unique_ptr<Worker>>& siblings) {
    std::array<int, 2> ends = {};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        FailToStart(errno);
    }
    process_ = fork();
    if (process_ == 0) {
        close(ends[0]);
        for (const auto& sibling : siblings) {
            if (sibling != nullptr) {
                close(sibling->socket_);
            }
        }
        WorkUntilNobodyAsks(ends[1], work);
    }
    const int error = errno;
    close(ends[1]);
    socket_ = ends[0];
    if (process_ < 0) {
        close(socket_);
        FailToStart(error);
    }
    fcntl(socket_, F_SETFL, O_NONBLOCK);
}

Worker::~Worker() {
    close(socket_);
    if (!isOver_) {
        End();
    }
}

pollfd Worker::Polled() const {
    return {socket_, static_cast<short>(unsent_.empty() ? POLLIN : POLLIN | POLLOUT), 0};
}

void Worker::Give(Job job) {
    if (jobs_.empty()) {
        begun_ = Clock::now();
    }
    unsent_ += Framed(job.bytes);
    jobs_.push_back(std::move(job));
    Send();
}

void Worker::Send() {
    const ssize_t sent = send(socket_, unsent_.data() + sentCount_, unsent_.size() - sentCount_, MSG_NOSIGNAL);
    // A worker that is no more shows at the next receipt.
    sentCount_ += sent < 0 ? 0 : static_cast<std::size_t>(sent);
    if (sentCount_ == unsent_.size()) {
        unsent_.clear();
        sentCount_ = 0;
    }
}

bool Worker::Receive() {
    std::array<char, 65536> buffer = {};
    const ssize_t count = recv(socket_, buffer.data(), buffer.size(), 0);
    arrived_.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

std::optional<Job> Worker::TakeAnswer() {
    std::optional<std::string> answer = jobs_.empty() ? std::nullopt : TakeMessage(arrived_);
    if (!answer) {
        return std::nullopt;
    }
    const std::size_t number = jobs_.front().number;
    jobs_.pop_front();
    begun_ = Clock::now();
    return Job{number, std::move(*answer)};
}

std::string Worker::End() {
    int status = 0;
    kill(process_, SIGKILL);
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    isOver_ = true;
    return EndText(status);
}

}  // namespace tal::talstore
