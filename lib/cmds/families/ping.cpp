// Other hosts: whether they answer, and their shells.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_exec_of_all = {cmds_mode_bit(k_mode_exec), k_mask_user};

constexpr cmds_word k_words[] = {
    {"ping", "See whether an IPv4 host answers."},
    {"ping6", "See whether an IPv6 host answers."},
    {"-c", "How many echo requests."},
    {"<1-10000>", "Requests, one a second, 1 to 10000; 4 by default."},
    {"-s", "How long they are."},
    {"<8-65507>", "Bytes of data in a request, 8 to 65507; 56 by default."},
    {"telnet", "Log in to another host by telnet, which encrypts nothing."},
};

constexpr cmds_form k_forms[] = {
    action(k_exec_of_all, "ping IPADDR", "Send 4 echo requests of 56 bytes."),
    action(k_exec_of_all, "ping IPADDR -c <1-10000>", "Send so many echo requests."),
    action(k_exec_of_all, "ping IPADDR -s <8-65507>", "Send 4 echo requests of this length."),
    action(k_exec_of_all, "ping IPADDR -c <1-10000> -s <8-65507>", "Send so many of this length."),
    action(k_exec_of_all, "ping6 IPV6ADDR", "Send 4 echo requests of 56 bytes."),
    action(k_exec_of_all, "ping6 IPV6ADDR -c <1-10000>", "Send so many echo requests."),
    action(k_exec_of_all, "telnet IPADDR", "Log in to this host, at TCP port 23."),
};

} // namespace

CMDS_FAMILY(ping, "ping", {k_mask_user, 7, 0, 0});
