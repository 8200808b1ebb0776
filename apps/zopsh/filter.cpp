#include "apps/zopsh/filter.h"

#include "lib/base/io.h"
#include "lib/base/plain_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <regex.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *k_blanks = " \t\r\n\v\f";

struct filter_row {
    std::string_view word;
    filter_kind kind;
    bool needs_argument;
};

constexpr filter_row k_filters[] = {
    {"include", filter_kind::include, true}, {"exclude", filter_kind::exclude, true},
    {"begin", filter_kind::begin, true},     {"section", filter_kind::section, true},
    {"count", filter_kind::count, false},    {"save", filter_kind::save, true},
};

/// A compiled regular expression.
class expression {
public:
    explicit expression(const std::string &text)
        : m_error(::regcomp(&m_compiled, text.c_str(), REG_EXTENDED | REG_NOSUB)) {}
    expression(const expression &) = delete;
    expression &operator=(const expression &) = delete;
    ~expression() {
        if (m_error == 0) {
            ::regfree(&m_compiled);
        }
    }
    [[nodiscard]] bool fits(const std::string &line) const {
        return m_error == 0 && ::regexec(&m_compiled, line.c_str(), 0, nullptr, 0) == 0;
    }
    /// Why it is none; "" when it is one.
    [[nodiscard]] std::string fault() const {
        std::array<char, 128> text{};
        if (m_error != 0) {
            ::regerror(m_error, &m_compiled, text.data(), text.size());
        }
        return text.data();
    }

private:
    regex_t m_compiled{};
    int m_error;
};

// ---- splitting

std::string trimmed(const std::string &text) {
    const size_t first = text.find_first_not_of(k_blanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(k_blanks) + 1 - first);
}

/// Where the next bar is, from `at` on; the line's size when there is none. What follows a word that begins
/// with ';' is a comment.
size_t find_bar(const std::string &line, size_t at) {
    for (; at < line.size(); at++) {
        const bool begins_word = at == 0 || std::strchr(k_blanks, line[at - 1]) != nullptr;
        if (begins_word && line[at] == ';') {
            return line.size();
        }
        if (begins_word && line[at] == '|') {
            return at;
        }
    }
    return line.size();
}

/// The row that a word is the beginning of, and of no other.
const filter_row *find_row(const std::string &word) {
    const auto fits = [&](const filter_row &row) { return !word.empty() && row.word.starts_with(word); };
    const auto *const found = std::find_if(std::begin(k_filters), std::end(k_filters), fits);
    const bool single = found != std::end(k_filters) &&
                        std::find_if(found + 1, std::end(k_filters), fits) == std::end(k_filters);
    return single ? found : nullptr;
}

std::optional<filter> refuse(const std::string &text, const std::string &why) {
    std::fprintf(stderr, "zopsh: | %s: %s\n", text.c_str(), why.c_str());
    return std::nullopt;
}

std::optional<filter> read_filter(const std::string &text) {
    const std::string word = text.substr(0, text.find_first_of(k_blanks));
    const filter_row *const row = find_row(word);
    if (row == nullptr) {
        return refuse(text, "not include, exclude, begin, section, count or save");
    }
    const std::string argument = trimmed(text.substr(word.size()));
    if (row->needs_argument && argument.empty()) {
        return refuse(text, row->kind == filter_kind::save ? "the name of a file is missing"
                                                           : "a regular expression is missing");
    }
    const std::string fault = row->kind == filter_kind::save ? "" : expression(argument).fault();
    return fault.empty() ? std::optional<filter>({row->kind, argument}) : refuse(text, fault);
}

// ---- filtering

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::string text_of(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) {
        text += line + "\n";
    }
    return text;
}

/// The contexts whose entering line fits. Such a line follows the empty line after the settings of the whole
/// switch, or the "!" of the context before.
std::vector<std::string> sections(const std::vector<std::string> &lines, const expression &wanted) {
    std::vector<std::string> taken;
    bool enters = false;
    bool takes = false;
    for (const std::string &line : lines) {
        takes = enters ? wanted.fits(line) : takes;
        if (takes) {
            taken.push_back(line);
        }
        enters = line == "!" || line.empty();
        takes = takes && !enters;
    }
    return taken;
}

std::string filtered(const filter &how, const std::string &text) {
    const expression wanted(how.argument);
    std::vector<std::string> lines = lines_of(text);
    const auto fits = [&](const std::string &line) { return wanted.fits(line); };
    switch (how.kind) {
    case filter_kind::include:
        std::erase_if(lines, std::not_fn(fits));
        break;
    case filter_kind::exclude:
        std::erase_if(lines, fits);
        break;
    case filter_kind::begin:
        lines.erase(lines.begin(), std::find_if(lines.begin(), lines.end(), fits));
        break;
    case filter_kind::section:
        lines = sections(lines, wanted);
        break;
    case filter_kind::count:
        return std::to_string(std::count_if(lines.begin(), lines.end(), fits)) + "\n";
    case filter_kind::save:
        break;
    }
    return text_of(lines);
}

/// What was in the file before is gone once it can be written to.
bool save(const std::string &path, const std::string &text) {
    constexpr mode_t k_owner_only = 0600; // there may be passwords in it
    const plain_file file = plain_file_open(path.c_str(), O_WRONLY | O_CREAT, k_owner_only);
    const bool done = file.fd.valid() && ::fchmod(file.fd.get(), k_owner_only) == 0 &&
                      ::ftruncate(file.fd.get(), 0) == 0 &&
                      (text.empty() || write_full(file.fd.get(), text.data(), text.size()) ==
                                           static_cast<ssize_t>(text.size()));
    if (!done) {
        std::fprintf(stderr, "zopsh: %s: %s\n", path.c_str(), std::strerror(errno));
    }
    return done;
}

} // namespace

std::optional<filtered_line> filter_split(const std::string &line) {
    size_t bar = find_bar(line, 0);
    filtered_line split = {line.substr(0, bar), {}};
    if (bar < line.size() && trimmed(split.command).empty()) {
        std::fputs("zopsh: no command stands in front of the bar\n", stderr);
        return std::nullopt;
    }
    while (bar < line.size()) {
        const size_t next = find_bar(line, bar + 1);
        const std::optional<filter> read = read_filter(trimmed(line.substr(bar + 1, next - bar - 1)));
        if (!read) {
            return std::nullopt;
        }
        split.filters.push_back(*read);
        bar = next;
    }
    return split;
}

std::optional<std::string> filter_apply(const std::vector<filter> &filters, std::string text) {
    for (const filter &one : filters) {
        if (one.kind == filter_kind::save) {
            if (!save(one.argument, text)) {
                return std::nullopt;
            }
            text.clear();
        } else {
            text = filtered(one, text);
        }
    }
    return text;
}
