#pragma once

#include "lib/services/report.h"

// What carries out the commands of each family on this machine.

/// A line for each service of a family's commands, with those words that lead to it, one for what the shell
/// does itself, and one for the others: their settings are only kept, the rest is not supported.
[[nodiscard]] report cmds_report_routes();
