#pragma once

#include "lib/services/report.h"

#include <cstdint>

// Which lines of the saved configuration failed at the start, and why. Their words are told to nobody: they
// may be secrets.

constexpr size_t k_cmds_failures_max = 100; // further ones are counted

/// Notes a line that has just failed, and names it in the system log.
void cmds_note_failure(int32_t line);

/// Logs how many lines failed beyond those that were named. After the replay.
void cmds_end_failures();

/// The lines that failed, with reasons.
[[nodiscard]] report cmds_report_failures();
