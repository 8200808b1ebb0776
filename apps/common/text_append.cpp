#include "apps/common/text_append.h"

#include "lib/base/invariant.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

void text_append(std::string &text, const char *format, ...) {
    char *formatted = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&formatted, format, arguments);
    va_end(arguments);
    INVARIANT(length >= 0); // else there is no memory
    text.append(formatted, static_cast<size_t>(length));
    std::free(formatted);
}
