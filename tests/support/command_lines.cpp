#include "tests/support/command_lines.h"

#include "lib/cli/cli_match.h"

#include <iterator>
#include <map>
#include <sstream>

namespace {

struct sample {
    const char *good;
    const char *bad;
};

sample sample_of_type(const std::string &type) {
    static const std::map<std::string, sample> s_samples = {
        {"VLANID", {"7", "4095"}},
        {"DATE", {"2027/01/31", "2027/2/30"}},
        {"GROUP_ID", {"3", "x"}},
        {"HEX_VALUE", {"1f", "xyz"}},
        {"IPADDR", {"192.168.1.1", "999.1.1.1"}},
        {"IPADDR_MASK", {"10.0.0.0/8", "10.0.0.0/33"}},
        {"IPV6ADDR", {"fe80:0:0:0:0:0:0:1", "fe80::1"}},
        {"MACADDR", {"00:11:22:33:44:55", "0:11:22:33:44:55"}},
        {"PORT_ID", {"3", "13"}},
        {"PORTLISTS", {"1-3,5", "1,13"}},
        {"VALUE", {"30", "x"}},
        {"VLANLISTS", {"1,10-19", "1,4095"}},
        {"OID", {"1.3.6.1", "1..3"}},
        {"PRIORITY", {"3", "x"}},
        {"QUEUE_ID", {"3", "x"}},
        {"RATE_LIMIT", {"64", "x"}},
        {"TIME", {"12:30:00", "25:00:00"}},
        {"SFTP_HOST", {"user@10.0.0.1/file", "user"}},
        {"SCP_HOST", {"user@10.0.0.1/file", "user"}},
    };
    const auto found = s_samples.find(type);
    return found != s_samples.end() ? found->second : sample{"text", "bell\a"};
}

} // namespace

std::vector<std::string> words_of(std::string_view line) {
    std::istringstream in{std::string(line)};
    return {std::istream_iterator<std::string>(in), {}};
}

std::string joined(const std::vector<std::string> &words) {
    std::string line;
    for (const std::string &word : words) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

std::string good_word(const std::string &pattern, bool other) {
    if (pattern.front() == '<') {
        const cli_pattern_word range = cli_classify(pattern.c_str());
        return std::to_string(other ? range.high : range.low);
    }
    if (pattern.front() == '(') {
        const size_t begin = other ? pattern.find_last_of("(|") : 0;
        return pattern.substr(begin + 1, pattern.find_first_of("|)", begin + 1) - begin - 1);
    }
    return cli_is_type(pattern) ? sample_of_type(pattern).good : pattern;
}

std::string bad_word(const std::string &pattern) {
    if (pattern.front() == '<') {
        return std::to_string(cli_classify(pattern.c_str()).high + 1);
    }
    return cli_is_type(pattern) ? sample_of_type(pattern).bad : "nothing-like-that";
}

std::vector<std::string> good_words(std::string_view line) {
    std::vector<std::string> words = words_of(line);
    for (size_t i = 0; i < words.size(); i++) {
        const bool is_hash = i > 0 && words[i - 1] == "encrypted" && cli_is_type(words[i]);
        words[i] = is_hash ? "$5$salt$" + std::string(43, 'x') : good_word(words[i]);
    }
    return words;
}

std::string good_line(std::string_view line) { return joined(good_words(line)); }

std::string changing_line(const cmds_form &form) {
    std::vector<std::string> words = good_words(form.line);
    if (form.initial != nullptr && joined(words).ends_with(std::string(" ") + form.initial)) {
        words.back() = good_word(words_of(form.line).back(), true);
    }
    return joined(words);
}

std::vector<placed_row> all_rows() {
    std::vector<placed_row> rows;
    for (const cmds_family *family : cmds_families()) {
        for (const cmds_row &row : std::span(family->rows, family->count)) {
            for (const cmds_mode &mode : k_cmds_modes) {
                if ((row.form->where.modes & cmds_mode_bit(mode.id)) != 0) {
                    rows.push_back({&row, &mode});
                }
            }
        }
    }
    return rows;
}
