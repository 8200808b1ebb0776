#pragma once

#include "lib/services/service.h"

// Which service a command goes to.

/// The service that a command's keywords go to, without "no" and "show"; null when there is none for them.
/// Where another service answers a show than carries the setting of those words out, there is one for the
/// keywords with "show".
const service *services_find(std::string_view words);

/// The row that says so, or null.
struct service_route;
const service_route *services_find_route(std::string_view words);

/// Says that this machine is a desk: its own name, addresses, servers and restart are left alone. Before any
/// call of a service; otherwise it is a switch.
void services_on_desk();
bool services_are_on_desk();

/// A row for "show services": keywords, what they go to, and whether that can be had now.
struct service_route {
    std::string_view words;
    const service *to;
};
std::span<const service_route> services_routes();
