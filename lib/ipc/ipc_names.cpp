#include "lib/ipc/ipc_names.h"

#include "lib/base/log.h"
#include "lib/ipc/ipc_settings.h"
#include "lib/ipc/ipc_wire.h"

#include <algorithm>
#include <array>
#include <functional>

namespace {

constexpr const char *k_unknown = "unknown";

// By route; null: without a name.
constexpr std::array<const char *, 4> k_routes = {nullptr, nullptr, nullptr, "tatacs"};

struct command_name {
    uint16_t id;
    const char *name;
};

#define TACPLUS(id, name)                                                                                    \
    { id, "proto_subcmd_tacplus_" name }
constexpr command_name k_filled_commands[] = {
    TACPLUS(69, "set_serv_ipaddr"),
    TACPLUS(70, "get_serv_ipaddr"),
    TACPLUS(71, "no_serv_ipaddr"),
    TACPLUS(75, "set_serv_key"),
    TACPLUS(76, "get_serv_key"),
    TACPLUS(77, "no_serv_key"),
    TACPLUS(78, "set_aaa_newmodel"),
    TACPLUS(79, "get_aaa_newmodel"),
    TACPLUS(80, "no_aaa_newmodel"),
    TACPLUS(81, "set_aaa_authen_login"),
    TACPLUS(82, "get_aaa_authen_login"),
    TACPLUS(83, "no_aaa_authen_login"),
    TACPLUS(84, "set_aaa_authen_login_local"),
    TACPLUS(85, "get_aaa_authen_login_local"),
    TACPLUS(86, "no_aaa_authen_login_local"),
    TACPLUS(87, "set_aaa_authen_enable"),
    TACPLUS(88, "get_aaa_authen_enable"),
    TACPLUS(89, "no_aaa_authen_enable"),
    TACPLUS(90, "set_aaa_authen_enable_local"),
    TACPLUS(91, "get_aaa_authen_enable_local"),
    TACPLUS(92, "no_aaa_authen_enable_local"),
    TACPLUS(93, "set_aaa_author_commands"),
    TACPLUS(94, "get_aaa_author_commands"),
    TACPLUS(95, "no_aaa_author_commands"),
    TACPLUS(96, "set_aaa_author_exec"),
    TACPLUS(97, "get_aaa_author_exec"),
    TACPLUS(98, "no_aaa_author_exec"),
    TACPLUS(99, "set_aaa_acct_commands"),
    TACPLUS(100, "get_aaa_acct_commands"),
    TACPLUS(101, "no_aaa_acct_commands"),
    TACPLUS(102, "set_aaa_acct_commands_level1"),
    TACPLUS(103, "get_aaa_acct_commands_level1"),
    TACPLUS(104, "no_aaa_acct_commands_level1"),
    TACPLUS(105, "set_aaa_acct_commands_level15"),
    TACPLUS(106, "get_aaa_acct_commands_level15"),
    TACPLUS(107, "no_aaa_acct_commands_level15"),
    TACPLUS(108, "show_tacacs"),
    TACPLUS(109, "login_authen_operation_start"),
    TACPLUS(110, "login_operation_send_username"),
    TACPLUS(111, "login_operation_send_username_password"),
    TACPLUS(112, "enable_authen_operation_start"),
    TACPLUS(113, "enable_operation_send_username_password"),
    TACPLUS(114, "authen_login_operation_getdata"),
    TACPLUS(115, "authen_enable_operation_getdata"),
    TACPLUS(116, "author_operation_start"),
    TACPLUS(117, "acct_operation_start"),
    TACPLUS(118, "default_case_handler"),
    TACPLUS(119, "operation_abort_send"),
    TACPLUS(124, "console_enable"),
    TACPLUS(125, "console_disable"),
    TACPLUS(126, "get_console_state"),
    {k_ipc_command_hello, "protocmd_hello"},
};
#undef TACPLUS
static_assert(std::size(k_filled_commands) == 52);
static_assert(std::ranges::is_sorted(k_filled_commands, std::ranges::less_equal(), &command_name::id),
              "commands are named twice or out of order");

constexpr auto k_commands = [] {
    std::array<const char *, k_ipc_command_max + 1> names = {};
    for (const command_name &row : k_filled_commands) {
        names[row.id] = row.name;
    }
    return names;
}();

} // namespace

const char *ipc_route_name(uint32_t route) {
    if (route < k_routes.size() && k_routes[route] != nullptr) {
        return k_routes[route];
    }
    if (ipc_logs_detailed()) {
        ipc_log_err(route < k_routes.size() ? "internal error: cannot find route type %u in table!"
                                            : "unknown route type: %u",
                    route);
    }
    return k_unknown;
}

const char *ipc_command_name(uint32_t command) {
    if (command >= k_commands.size()) {
        if (ipc_logs_detailed()) {
            ipc_log_err("unknown rserv command type: %u", command);
        }
        return k_unknown;
    }
    return k_commands[command] != nullptr ? k_commands[command] : "";
}
