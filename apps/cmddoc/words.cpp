// What all parts of the document write in the same way.

#include "apps/cmddoc/cmddoc.h"
#include "lib/base/take_piece.h"

#include <algorithm>
#include <cctype>

namespace {

bool is_alone_with_name(const cmds_family &family) {
    const auto families = cmds_families();
    return std::count_if(families.begin(), families.end(), [&](const cmds_family *other) {
               return std::string_view(other->name) == family.name;
           }) == 1;
}

/// The name that GitHub gives a heading: small letters, hyphens for blanks, nothing of most signs.
std::string anchor_of(std::string_view heading) {
    std::string anchor;
    for (const char c : heading) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == ' ') {
            anchor += '-';
        } else if (std::isalnum(byte) != 0 || c == '-' || c == '_') {
            anchor += static_cast<char>(std::tolower(byte));
        }
    }
    return anchor;
}

} // namespace

std::vector<std::string_view> cmddoc_words(std::string_view line) {
    std::vector<std::string_view> words;
    while (!line.empty()) {
        words.push_back(take_piece(line));
    }
    return words;
}

std::string cmddoc_title(const cmds_family &family) {
    std::string title = family.name;
    if (!is_alone_with_name(family)) {
        title.append(" ").append(cmddoc_words(family.rows[0].form->line).at(1));
    }
    return title;
}

std::string cmddoc_link(std::string_view text, std::string_view heading) {
    return std::string("[").append(text).append("](#").append(anchor_of(heading)).append(")");
}

// A bar ends a cell even within code, and a backslash takes that away there, too; nothing else is special in
// code.
std::string cmddoc_code(std::string_view words) {
    std::string code = "`";
    for (const char c : words) {
        code.append(c == '|' ? "\\" : "") += c;
    }
    return code + '`';
}

std::string cmddoc_text(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        case '$': // begins a formula
            out += "&#36;";
            break;
        case '|':
        case '*':
        case '`':
        case '[':
        case '~':
            out += '\\';
            [[fallthrough]];
        default:
            out += c;
        }
    }
    return out;
}

std::string cmddoc_mode_names(uint32_t modes) {
    if (modes == k_in_every_mode) {
        return "every mode";
    }
    uint32_t within_config = 0;
    for (const cmds_mode &mode : k_cmds_modes) {
        within_config |= mode.parent == k_cli_mode_config ? cmds_mode_bit(mode.id) : 0;
    }
    std::string names = (modes & within_config) == within_config ? "every mode within config" : "";
    modes &= names.empty() ? ~0U : ~within_config;
    for (const cmds_mode &mode : k_cmds_modes) {
        if ((modes & cmds_mode_bit(mode.id)) != 0) {
            names.append(names.empty() ? "" : ", ").append(mode.name);
        }
    }
    return names;
}
