#pragma once

#include "lib/services/service.h"

// What the kernel tells of itself; each function is a service's `show`.

service_answer kernel_show_addresses(const service_call &call, report &to);   // "ip address"
service_answer kernel_show_vlans(const service_call &call, report &to);       // "interface vlan"
service_answer kernel_show_hosts(const service_call &call, report &to);       // "ip hosts"
service_answer kernel_show_ipv4_routes(const service_call &call, report &to); // "ipv4 routes"
service_answer kernel_show_ipv6_routes(const service_call &call, report &to); // "ipv6 routes"
service_answer kernel_show_processes(const service_call &call, report &to);   // "debug processes"
