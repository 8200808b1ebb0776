#include "apps/dot1x_sim/diagram.h"

#include "apps/common/text_append.h"
#include "apps/common/text_file.h"
#include "lib/dot1x/dot1x_table.h"

#include <cstdio>

namespace {

// What stands in the document before the rendered part.
constexpr const char k_marker[] = "<!-- Rendered from lib/dot1x/dot1x_table.h; not edited by hand. -->\n";
constexpr size_t k_marker_size = sizeof k_marker - 1;

const char *guard_text(dot1x_guard guard) {
    switch (guard) {
    case dot1x_guard::below_max_req:
        return "reqCount below maxReq";
    case dot1x_guard::at_max_req:
        return "reqCount not below maxReq";
    case dot1x_guard::none:
        break;
    }
    return "";
}

void append_chart(std::string &text) {
    text += "```mermaid\nstateDiagram-v2\n    state \"any state\" as ANY\n";
    for (const dot1x_row &row : k_dot1x_rows) {
        const bool guarded = row.guard != dot1x_guard::none;
        text_append(text, "    %s --> %s : %s%s%s\n",
                    row.state == k_dot1x_any_state ? "ANY" : k_dot1x_states[row.state].name,
                    k_dot1x_states[dot1x_state_entered(row.enter)].name, dot1x_event_name(row.event),
                    guarded ? ", " : "", guard_text(row.guard));
    }
    for (const dot1x_state_row &row : k_dot1x_states) {
        if (!row.stable) {
            text_append(text, "    %s --> %s\n", row.name, k_dot1x_states[BM_STATUS_IDLE].name);
        }
    }
    text += "```\n";
}

void append_table(std::string &text) {
    text += "| Event | Number | In state | When | Entry action |\n|---|---|---|---|---|\n";
    for (const dot1x_row &row : k_dot1x_rows) {
        const dot1x_state_row &entered = k_dot1x_states[dot1x_state_entered(row.enter)];
        text_append(text, "| `%s` | %d | %s | %s | %s%s |\n", dot1x_event_name(row.event), row.event,
                    row.state == k_dot1x_any_state ? "any state" : k_dot1x_states[row.state].name,
                    guard_text(row.guard), entered.name, entered.stable ? "" : ", then IDLE");
    }
}

std::string render() {
    std::string text = "\n";
    append_chart(text);
    text += "\n";
    append_table(text);
    return text;
}

/// Reads a document as the hand-written part with its marker line, and what is after it.
bool read_document(const std::string &path, std::string &written, std::string &rendered) {
    std::string text;
    if (!read_text_file("dot1x_sim", path, text)) {
        return false;
    }
    const size_t marker = text.find(k_marker);
    if (marker == std::string::npos) {
        std::fprintf(stderr, "dot1x_sim: %s has no line %s", path.c_str(), k_marker);
        return false;
    }
    written = text.substr(0, marker + k_marker_size);
    rendered = text.substr(marker + k_marker_size);
    return true;
}

} // namespace

bool diagram_write(const std::string &path) {
    std::string written;
    std::string rendered;
    return read_document(path, written, rendered) && write_text_file("dot1x_sim", path, written + render());
}

bool diagram_check(const std::string &path) {
    std::string written;
    std::string rendered;
    if (!read_document(path, written, rendered)) {
        return false;
    }
    if (rendered != render()) {
        std::fprintf(stderr,
                     "dot1x_sim: %s is not what the machine's table gives; build the target \"docs\"\n",
                     path.c_str());
        return false;
    }
    return true;
}
