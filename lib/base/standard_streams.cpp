#include "lib/base/standard_streams.h"

#include "lib/base/result.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

void hold_standard_streams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
        if (::fcntl(fd, F_GETFD) < 0) {
            // The lowest free one, which is this; good for the other direction only.
            ignore_result(::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

int end_output(const char *program, int status, int failed) {
    errno = 0;
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return status;
    }
    std::fprintf(stderr, "%s: standard output: %s\n", program,
                 errno != 0 ? std::strerror(errno) : "something could not be written");
    return failed;
}
