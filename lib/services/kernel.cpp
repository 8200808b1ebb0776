// The kernel as a service.

#include "lib/services/services.h"

#include <unistd.h>

namespace {

bool is_here() { return !services_are_on_desk() && ::geteuid() == 0; }

} // namespace

const service service_kernel = {"the kernel", is_here, nullptr, nullptr, nullptr, nullptr};
