#pragma once

#include <string>

// The last part of docs/dot1x.md, after its marker line: the state diagram (Mermaid) and the transitions
// (Markdown), both from the machine's table.

/// Renders that part anew in the document at `path`. Returns false, and says on standard error why, when the
/// file cannot be read or written or has no marker line.
[[nodiscard]] bool diagram_write(const std::string &path);

/// Whether that part is as it would be rendered. Says on standard error when it is not.
[[nodiscard]] bool diagram_check(const std::string &path);
