#pragma once

#include "lib/services/service.h"

#include <string>

// The settings that the kernel carries out, by subject; each function is a service's of one setting.

// "ip address" and "ip ipv6-address" of an interface. Not supported: there is no such interface, or the
// address comes from a DHCP server, which is not the kernel's business.
service_answer kernel_apply_ipv4(const service_call &call);
service_answer kernel_withdraw_ipv4(const service_call &call);
service_answer kernel_apply_ipv6(const service_call &call);
service_answer kernel_withdraw_ipv6(const service_call &call);

// "ipv4 route", "ipv6 route" and "ipv4 arp". One that no interface has the network for yet is made when one
// has.
service_answer kernel_apply_entry(const service_call &call);
service_answer kernel_withdraw_entry(const service_call &call);

/// Done; or refused for the error of this number, with "WHAT: its text" as the reason.
service_answer kernel_done_or(const std::string &what, int error);
