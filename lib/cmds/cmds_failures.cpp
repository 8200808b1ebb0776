#include "lib/cmds/cmds_failures.h"

#include "lib/base/log.h"
#include "lib/cli/cli_parser.h"
#include "lib/cmds/cmds_config.h"

namespace {

struct failure {
    int32_t line;
    const char *reason;
};

std::vector<failure> s_failures;
int32_t s_count = 0; // of all, those beyond the kept ones too

const char *reason() {
    const char *const told = cmds_take_refusal();
    return cli_last_status() == k_cli_status_no_match ? "no command of a saved configuration" : told;
}

} // namespace

void cmds_note_failure(int32_t line) {
    const char *const why = reason();
    s_count++;
    if (s_failures.size() < k_cmds_failures_max) {
        s_failures.push_back({line, why});
        ipc_log_warn("%s: line %d failed: %s", k_cmds_saved_config, line, why);
    }
}

void cmds_end_failures() {
    const int32_t further = s_count - static_cast<int32_t>(s_failures.size());
    if (further > 0) {
        ipc_log_warn("%s: %d further lines failed", k_cmds_saved_config, further);
    }
}

report cmds_report_failures() {
    report told;
    report_add(told, {"failed", "Lines that failed"}, s_count);
    report_table &table = report_add_table(told, "lines", "Lines of the saved configuration",
                                           {{"line", "Line"}, {"reason", "Reason"}});
    for (const failure &one : s_failures) {
        table.rows.push_back({int64_t{one.line}, std::string(one.reason)});
    }
    return told;
}
