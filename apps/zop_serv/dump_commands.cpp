#include "apps/zop_serv/dump_commands.h"

#include "lib/cmds/cmds_family.h"

#include <cstdio>

namespace {

void print_escaped(const char *text) {
    for (; text != nullptr && *text != '\0'; text++) {
        switch (*text) {
        case '\n':
            std::fputs("\\n", stdout);
            break;
        case '\t':
            std::fputs("\\t", stdout);
            break;
        default:
            std::putchar(*text);
        }
    }
}

void dump(const cli_command &command) {
    std::printf("0x%x\t%s\t%s", command.mode_mask, command.words,
                command.pattern != nullptr ? command.pattern : "");
    for (const char *const help : command.help) {
        std::putchar('\t');
        print_escaped(help);
    }
    std::putchar('\n');
}

} // namespace

void dump_commands() {
    for (const cmds_family *family : cmds_families()) {
        for (const cmds_row &row : std::span(family->rows, family->count)) {
            dump(row.command);
        }
    }
}
