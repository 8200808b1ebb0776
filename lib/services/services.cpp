#include "lib/services/services.h"

#include <algorithm>
#include <iterator>

namespace {

bool s_desk = false;

// By the first words of a command; the longest row that fits counts. What is in none is only kept.
constexpr service_route k_routes[] = {
    {"hostname", &service_kernel},    {"ping", &service_programs}, {"ping6", &service_programs},
    {"tacacs-plus", &service_tacacs}, {"time", &service_time},
};

bool begins_with(std::string_view words, std::string_view first) {
    return words.starts_with(first) && (words.size() == first.size() || words[first.size()] == ' ');
}

} // namespace

const service *services_find(std::string_view words) {
    const service_route *found = nullptr;
    for (const service_route &route : k_routes) {
        if (begins_with(words, route.words) &&
            (found == nullptr || route.words.size() > found->words.size())) {
            found = &route;
        }
    }
    return found != nullptr ? found->to : nullptr;
}

void services_on_desk() { s_desk = true; }
bool services_are_on_desk() { return s_desk; }

std::span<const service_route> services_routes() { return k_routes; }
