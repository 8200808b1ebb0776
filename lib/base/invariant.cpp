#include "lib/base/invariant.h"

#include <cstdio>
#include <cstdlib>

void invariant_failed(const invariant_site &site) {
    std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", site.source, site.line, site.function,
                 site.expression);
    std::fflush(stderr);
    std::abort();
}
