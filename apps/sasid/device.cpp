#define FUSE_USE_VERSION 35

#include "apps/sasid/device.h"

#include "apps/sasid/exchange.h"
#include "apps/sasid/later.h"
#include "apps/sasid/privileges.h"
#include "lib/base/result.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cuse_lowlevel.h>
#include <iterator>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const sasid_device *s_device = nullptr; // set before the session begins
fuse_session *s_session = nullptr;      // set before its first request

// A reply that the kernel does not take is for a client that is gone.
void reply_error(fuse_req_t request, int32_t error) { ignore_result(fuse_reply_err(request, error)); }

void reply(fuse_req_t request, uint32_t number, const sasi_block &block, int32_t error) {
    if (error != 0) {
        reply_error(request, error);
        return;
    }
    const auto *bytes = reinterpret_cast<const uint8_t *>(&block);
    ignore_result(fuse_reply_ioctl(request, 0, bytes + k_exchange_written,
                                   sasid_exchange_written(number, block.return_code)));
}

void give_late(void *request, uint32_t number, sasi_block &block) {
    const int32_t error = s_device->source->answer(number, block, nullptr);
    reply(static_cast<fuse_req_t>(request), number, block, error);
}

// The kernel waits for the answer when its client is killed, and a signal is no reason for another one.
void hurry(fuse_req_t request, void * /*unused*/) { sasid_later_hurry(request); }

void answer_later(fuse_req_t request, uint32_t number, const sasi_block &block, uint32_t delay_ms) {
    // First: when it has been put off, it may be answered and gone. Interrupts come on this thread, one that
    // is here already included.
    fuse_req_interrupt_func(request, hurry, nullptr);
    if (!sasid_later(request, number, block, fuse_req_interrupted(request) != 0 ? 0 : delay_ms, give_late)) {
        reply_error(request, EIO);
    }
}

void answer(fuse_req_t request, uint32_t number, sasi_block &block) {
    uint32_t delay_ms = 0;
    const int32_t error = s_device->source->answer(number, block, &delay_ms);
    if (error == 0 && delay_ms != 0) {
        answer_later(request, number, block, delay_ms);
    } else {
        reply(request, number, block, error);
    }
}

/// Has the call made again with what is to be copied from and to the client.
void ask_for_block(fuse_req_t request, void *address, size_t size) {
    const iovec fetched = {address, size};
    const iovec written = {static_cast<uint8_t *>(address) + k_exchange_written, size - k_exchange_written};
    ignore_result(fuse_reply_ioctl_retry(request, &fetched, 1, &written, 1));
}

void on_control(fuse_req_t request, int command, void *argument, fuse_file_info * /*file*/,
                unsigned /*flags*/, const void *bytes, size_t size, size_t room) {
    const auto number = static_cast<uint32_t>(command);
    const size_t wanted = sasid_exchange_size(number);
    if (!sasi_takes(number)) {
        reply_error(request, ENOTTY);
    } else if (size == 0) {
        ask_for_block(request, argument, wanted);
    } else if (size != wanted || room != wanted - k_exchange_written) {
        reply_error(request, EIO);
    } else {
        sasi_block block = {};
        std::memcpy(&block, bytes, size);
        answer(request, number, block);
    }
}

void on_open(fuse_req_t request, fuse_file_info *file) {
    const auto refusal = s_device->source->refusal;
    if (const int32_t error = refusal != nullptr ? refusal() : 0; error != 0) {
        reply_error(request, error);
    } else {
        ignore_result(fuse_reply_open(request, file));
    }
}

[[noreturn]] void give_up(const std::string &why) {
    std::fprintf(stderr, "sasid: %s\n", why.c_str());
    ::_exit(1);
}

/// The kernel has been told of the device, and has ended the session if it did not like it.
void on_made(void * /*unused*/) {
    pollfd session = {fuse_session_fd(s_session), POLLIN, 0};
    if (::poll(&session, 1, 0) > 0 && (session.revents & POLLERR) != 0) {
        give_up("the kernel does not make the device " + s_device->name);
    }
    std::string error;
    if (!sasid_drop_privileges(s_device->user, error)) {
        give_up(error);
    }
    const auto start = s_device->source->start;
    if (start != nullptr && !start(error)) {
        give_up(error);
    }
    sasid_tell_ready();
}

// Nothing is kept that would be lost: the kernel takes the device away, and ends requests in it, when the
// process ends.
void end(int /*signal*/) { ::_exit(0); }

void take_signals() {
    struct sigaction action {};
    action.sa_handler = end;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

void sasid_serve(const sasid_device &device) {
    s_device = &device;
    struct stat taken {};
    // The kernel would make a device without a node; a link that leads nowhere takes the name, too.
    if (::lstat(("/dev/" + device.name).c_str(), &taken) == 0) {
        give_up("there is a /dev/" + device.name + " already");
    }
    const std::string name = "DEVNAME=" + device.name;
    const char *names[] = {name.c_str()};
    cuse_info info = {};
    info.dev_info_argc = 1;
    info.dev_info_argv = names;
    info.flags = CUSE_UNRESTRICTED_IOCTL;
    cuse_lowlevel_ops operations = {};
    operations.init_done = on_made;
    operations.open = on_open;
    operations.ioctl = on_control;
    // In the foreground, and one thread: answers come from memory, and more threads would only wait for each
    // other.
    char program[] = "sasid";
    char foreground[] = "-f";
    char one_thread[] = "-s";
    char *arguments[] = {program, foreground, one_thread, nullptr};
    int many_threads = 0;
    take_signals(); // first, so that the library leaves them alone
    s_session =
        cuse_lowlevel_setup(std::size(arguments) - 1, arguments, &info, &operations, &many_threads, nullptr);
    if (s_session == nullptr) {
        ::_exit(1); // said by the library
    }
    const int error = fuse_session_loop(s_session);
    give_up("the device has ended" + (error < 0 ? ": " + std::string(std::strerror(-error)) : ""));
}
