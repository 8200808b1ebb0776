// What a reader has to know first: how lines are written, what types take, who may type what, which modes
// there are.

#include "apps/cmddoc/cmddoc.h"
#include "lib/cli/cli_match.h"

#include <algorithm>
#include <cstdio>

namespace {

struct type_text {
    std::string_view name;
    const char *takes;
};

constexpr type_text k_types[] = {
    {"VLANID", "A VLAN, 1 to 4094."},
    {"STRINGS", "A word without a blank, of 64 characters at most where nothing else is said."},
    {"COMMUNITY", "A word of 32 characters at most."},
    {"DATE", "Year, month and day, 1970/01/01 to 2037/12/31."},
    {"GROUP_ID", "The number of a group."},
    {"HEX_VALUE", "A hexadecimal number of 32 bits, with or without 0x in front."},
    {"IFNAME", "The name of an interface."},
    {"IPADDR", "An IPv4 address, such as 192.168.1.1."},
    {"IPADDR_MASK", "An IPv4 address with the length of its network, such as 192.168.1.0/24."},
    {"IPV6ADDR", "An IPv6 address with all eight groups, such as fe80:0:0:0:0:0:0:1; :: is not taken."},
    {"IPv6_URL_PATH", "A URL whose host is an IPv6 address, or a path; 128 characters at most."},
    {"LEVEL", "A level, a word."},
    {"MACADDR", "A MAC address, such as 00:11:22:33:44:55."},
    {"MONITORMODE", "A way of monitoring, a word."},
    {"PORT_ID", "A port, 1 to 12."},
    {"PORTLISTS", "Ports, such as 1,3-5, without a blank."},
    {"VALUE", "A number."},
    {"VERSION", "A version, a word."},
    {"VIEW_NAME_32", "A name of 32 characters at most."},
    {"VLANLISTS", "VLANs, such as 1,10-19, without a blank."},
    {"OID", "An object identifier, numbers with dots between them, such as 1.3.6.1."},
    {"PRIORITY", "A priority, a number."},
    {"QUEUE_ID", "A queue, a number."},
    {"RATE_LIMIT", "A rate, a number."},
    {"TIME", "A time of day, 00:00:00 to 23:59:59."},
    {"URL_PATH", "A URL or a path; 128 characters at most."},
    {"SFTP_HOST", "USER@A.B.C.D, then perhaps :PORT and /PATH; 128 characters at most."},
    {"SCP_HOST", "USER@A.B.C.D, then perhaps :PORT and /PATH; 128 characters at most."},
};
static_assert(std::equal(std::begin(k_types), std::end(k_types), std::begin(k_cli_type_names),
                         std::end(k_cli_type_names),
                         [](const type_text &row, std::string_view name) { return row.name == name; }));

template<typename F> size_t count_rows(F wanted) {
    size_t count = 0;
    for (const cmds_family *family : cmds_families()) {
        count += static_cast<size_t>(std::count_if(family->rows, family->rows + family->count, wanted));
    }
    return count;
}

bool is_used(const type_text &type) {
    return count_rows([&](const cmds_row &row) {
               const auto words = cmddoc_words(row.form->line);
               return std::find(words.begin(), words.end(), type.name) != words.end();
           }) > 0;
}

std::string types_table() {
    std::string md = "| In a line | What is typed |\n|---|---|\n"
                     "| `vlan` | this word; its beginning is enough where no other word begins so |\n"
                     "| `<1-60>` | a number from 1 to 60 |\n"
                     "| `(on\\|off)` | one of these words, in full |\n";
    for (const type_text &type : k_types) {
        if (is_used(type)) {
            md += "| " + cmddoc_code(type.name) + " | " + cmddoc_text(type.takes) + " |\n";
        }
    }
    return md + '\n';
}

struct mask_text {
    uint32_t mask;
    const char *who;
};
constexpr mask_text k_masks[] = {
    {k_mask_user, "Everybody, with \"zopsh --user\" too."},
    {k_mask_config, "Administrators."},
    {k_mask_config_further, "Administrators."},
    {k_mask_debug, "Administrators, in the mode engineering."},
    {k_mask_engineering, "Administrators, in the mode engineering."},
};

std::string masks_table() {
    std::string md = "| Group | Commands | Who may type them |\n|---|---|---|\n";
    for (const mask_text &row : k_masks) {
        const size_t count =
            count_rows([&](const cmds_row &command) { return command.form->where.mask == row.mask; });
        char cell[64];
        std::snprintf(cell, sizeof cell, "| 0x%X | %zu | ", row.mask, count);
        md.append(cell).append(cmddoc_text(row.who)).append(" |\n");
    }
    return md + '\n';
}

} // namespace

std::string cmddoc_head() {
    return "# Commands of the shell\n\n"
           "Written by `cmddoc` from the rows in `lib/cmds/families` that the shell runs: change those, then "
           "build the target `docs`. How the shell is used is in [shell.md](shell.md).\n\n"
           "A command stands under its leading keyword, by the modes in which it can be typed. \"At first\" "
           "is what holds before anybody says otherwise; nothing there: it is not set, or off. \"Taken back "
           "by\" is the line, typed in the same mode, after which that holds again; \"as above\": this is "
           "another form of the setting above, and the one typed last holds; nothing there: set something "
           "else. \"One for each\" names the arguments that tell settings of the same words apart. A "
           "**secret** is masked wherever the configuration is shown, but in an administrator's \"show "
           "running-config\", and kept in no history of lines. An *action* does something once and leaves "
           "nothing in the configuration. \"show services\" says what this machine carries out, and what it "
           "only keeps.\n\n" +
           types_table() + masks_table();
}

std::string cmddoc_modes() {
    std::string md =
        "## Modes\n\n"
        "`exit` goes back to the parent, `end` to exec. What an interface range or a VLAN range is told "
        "holds for each of its ports or VLANs. What can be typed in a mode is under its name in the "
        "sections below; `?` lists it.\n\n"
        "| Mode | Prompt | Entered by | In | Parent | Taken away by |\n|---|---|---|---|---|---|\n";
    for (const cmds_mode &mode : k_cmds_modes) {
        const bool is_exec = mode.id == k_mode_exec;
        const bool by_line = mode.line != nullptr;
        md += std::string("| ") + mode.name + " | " + cmddoc_code(mode.prompt) + " | ";
        md += by_line ? cmddoc_code(mode.line) : is_exec ? "opening the shell" : "`configure terminal`";
        md += std::string(" | ") + (is_exec ? "" : by_line ? cmds_find_mode(mode.from)->name : "exec");
        md += std::string(" | ") + (is_exec ? "`exit` ends the session" : cmds_find_mode(mode.parent)->name);
        md += " | " + (mode.away != nullptr ? cmddoc_code(mode.away) : "") + " |\n";
    }
    return md + '\n';
}

std::string cmddoc_markdown() {
    std::string md = cmddoc_head() + cmddoc_contents() + cmddoc_modes();
    for (const cmds_family *family : cmds_families()) {
        md += cmddoc_family(*family);
    }
    md.pop_back(); // the empty line after the last table
    return md;
}
