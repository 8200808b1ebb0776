#include "lib/config/config_store.h"

#include "lib/base/take_piece.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace {

struct stored {
    uint32_t rank = 0;
    uint32_t secret = 0;
    std::string key;
    std::string line;
};

struct context {
    config_context number = k_config_global;
    bool stays = false;
    stored entering;
    std::vector<stored> settings; // ascending
};

} // namespace

struct config_store {
    context global;
    std::vector<std::unique_ptr<context>> contexts; // ascending by what enters them; without the global one
    std::vector<context *> by_number;               // ascending, since numbers are
    config_context last = k_config_global;          // the last number given to a context
    size_t count = 0;                               // settings and contexts
};

namespace {

// ---- order

bool is_number(std::string_view word) {
    return !word.empty() &&
           std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string_view without_zeros(std::string_view number) {
    return number.substr(std::min(number.find_first_not_of('0'), number.size() - 1));
}

int compare_words(std::string_view a, std::string_view b) {
    if (is_number(a) != is_number(b)) { // or "10" < "1a" < "2" < "10"
        return is_number(a) ? -1 : 1;
    }
    if (is_number(a)) {
        const std::string_view x = without_zeros(a);
        const std::string_view y = without_zeros(b);
        if (x != y) {
            return x.size() != y.size() ? (x.size() < y.size() ? -1 : 1) : x.compare(y);
        }
    }
    return a.compare(b);
}

int compare_keys(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        if (const int order = compare_words(take_piece(a), take_piece(b)); order != 0) {
            return order;
        }
    }
    return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

int compare(const config_place &a, const config_place &b) {
    return a.rank != b.rank ? (a.rank < b.rank ? -1 : 1) : compare_keys(a.key, b.key);
}

config_place place_of(const stored &entry) { return {entry.rank, entry.key}; }

bool stands_before(const stored &entry, const config_place &place) {
    return compare(place_of(entry), place) < 0;
}

bool is_at(const stored &entry, const config_place &place) { return compare(place_of(entry), place) == 0; }

// ---- finding

/// Where in an ascending list a place is, or would be.
auto find_place(const std::vector<std::unique_ptr<context>> &contexts, const config_place &place) {
    return std::lower_bound(contexts.begin(), contexts.end(), place, [](const auto &one, const auto &wanted) {
        return stands_before(one->entering, wanted);
    });
}

auto find_place(const std::vector<stored> &settings, const config_place &place) {
    return std::lower_bound(settings.begin(), settings.end(), place, stands_before);
}

auto find_number(const std::vector<context *> &by_number, config_context number) {
    return std::lower_bound(by_number.begin(), by_number.end(), number,
                            [](const context *one, config_context wanted) { return one->number < wanted; });
}

const context *find_context(const config_store &store, config_context number) {
    if (number == k_config_global) {
        return &store.global;
    }
    const auto found = find_number(store.by_number, number);
    return found != store.by_number.end() && (*found)->number == number ? *found : nullptr;
}

context *find_context(config_store &store, config_context number) {
    return const_cast<context *>(find_context(std::as_const(store), number));
}

stored copy_of(const config_setting &setting) {
    return {setting.rank, setting.secret, std::string(setting.key), std::string(setting.line)};
}

bool is_shown(const context &one) { return one.stays || !one.settings.empty(); }

// ---- comparing

using tell_fn = void (*)(config_side side, const config_line &line, void *with);

config_place place_of(const std::unique_ptr<context> &one) { return place_of(one->entering); }

/// Goes through two ascending lists side by side: `tell` gets those of one place together, null for what only
/// one has.
template<typename List, typename Tell> void merge(const List &first, const List &second, Tell tell) {
    auto a = first.begin();
    auto b = second.begin();
    while (a != first.end() || b != second.end()) {
        const int order = a == first.end() ? 1 : b == second.end() ? -1 : compare(place_of(*a), place_of(*b));
        tell(order <= 0 ? &*a++ : nullptr, order >= 0 ? &*b++ : nullptr);
    }
}

config_line line_of(const context &in, const stored &entry) {
    return {entry.line, entry.secret, in.number, place_of(entry)};
}

/// Tells of the settings that differ, after `entering` if there is one.
size_t compare_settings(const context &first, const context &second, const stored *entering, tell_fn tell,
                        void *with) {
    size_t differ = 0;
    const auto tell_of = [&](config_side side, const context &in, const stored *entry) {
        if (entry == nullptr) {
            return;
        }
        if (differ++ == 0 && entering != nullptr) {
            tell(config_side::both, line_of(in, *entering), with);
        }
        tell(side, line_of(in, *entry), with);
    };
    merge(first.settings, second.settings, [&](const stored *a, const stored *b) {
        if (a == nullptr || b == nullptr || a->line != b->line) {
            tell_of(config_side::first, first, a);
            tell_of(config_side::second, second, b);
        }
    });
    return differ;
}

/// Tells of a context that only one side has.
size_t tell_context(config_side side, const context &one, tell_fn tell, void *with) {
    tell(side, line_of(one, one.entering), with);
    for (const stored &setting : one.settings) {
        tell(side, line_of(one, setting), with);
    }
    return one.settings.size() + 1;
}

} // namespace

config_store *config_new() { return new config_store; }
void config_free(config_store *store) { delete store; }

bool config_line_fits(std::string_view line) {
    int32_t words = 0;
    for (std::string_view rest = line; !rest.empty();) {
        words += take_piece(rest).empty() ? 0 : 1;
    }
    return words > 0 && words <= k_config_line_words_max && line.size() <= k_config_line_max &&
           line[0] != '#' && line[0] != '!';
}

size_t config_room(const config_store &store) { return k_config_settings_max - store.count; }

config_context config_find_context(const config_store &store, uint32_t rank, std::string_view key) {
    const config_place place = {rank, key};
    const auto found = find_place(store.contexts, place);
    return found != store.contexts.end() && is_at((*found)->entering, place) ? (*found)->number
                                                                             : k_config_none;
}

config_context config_enter(config_store &store, const config_setting &line, bool stays) {
    const config_context found = config_find_context(store, line.rank, line.key);
    if (context *const there = find_context(store, found); there != nullptr) {
        there->stays = there->stays || stays;
        return found;
    }
    if (config_room(store) == 0 || store.last == INT32_MAX) {
        return k_config_none;
    }
    auto made = std::make_unique<context>();
    made->number = ++store.last;
    made->stays = stays;
    made->entering = copy_of(line);
    store.by_number.push_back(made.get());
    store.contexts.insert(find_place(store.contexts, place_of(made->entering)), std::move(made));
    store.count++;
    return store.last;
}

bool config_place_of(const config_store &store, config_context number, config_place *place) {
    const context *const found = find_context(store, number);
    if (found == nullptr) {
        return false;
    }
    *place = place_of(found->entering);
    return true;
}

std::string_view config_entering_line(const config_store &store, config_context number) {
    const context *const found = find_context(store, number);
    return found != nullptr ? std::string_view(found->entering.line) : std::string_view();
}

bool config_leave_out(config_store &store, config_context number) {
    const context *const found = number != k_config_global ? find_context(store, number) : nullptr;
    if (found == nullptr) {
        return false;
    }
    store.count -= found->settings.size() + 1;
    store.by_number.erase(find_number(store.by_number, number));
    store.contexts.erase(find_place(store.contexts, place_of(found->entering)));
    return true;
}

std::vector<config_context> config_contexts_below(const config_store &store, uint32_t rank,
                                                  std::string_view key) {
    const std::string words = std::string(key) + ' ';
    std::vector<config_context> below;
    for (const auto &one : store.contexts) {
        if (one->entering.rank == rank && one->entering.key.starts_with(words)) {
            below.push_back(one->number);
        }
    }
    return below;
}

bool config_set(config_store &store, config_context number, const config_setting &setting) {
    context *const in = find_context(store, number);
    if (in == nullptr) {
        return false;
    }
    const config_place place = {setting.rank, setting.key};
    const auto at = in->settings.begin() + (find_place(in->settings, place) - in->settings.cbegin());
    if (at != in->settings.end() && is_at(*at, place)) {
        *at = copy_of(setting);
        return true;
    }
    if (config_room(store) == 0) {
        return false;
    }
    in->settings.insert(at, copy_of(setting));
    store.count++;
    return true;
}

bool config_unset(config_store &store, config_context number, uint32_t rank, std::string_view key) {
    context *const in = find_context(store, number);
    if (in == nullptr || config_find(store, number, rank, key) == nullptr) {
        return false;
    }
    in->settings.erase(find_place(in->settings, {rank, key}));
    store.count--;
    return true;
}

const std::string *config_find(const config_store &store, config_context number, uint32_t rank,
                               std::string_view key) {
    const context *const in = find_context(store, number);
    if (in == nullptr) {
        return nullptr;
    }
    const config_place place = {rank, key};
    const auto found = find_place(in->settings, place);
    return found != in->settings.end() && is_at(*found, place) ? &found->line : nullptr;
}

void config_clear(config_store &store) {
    const config_context last = store.last;
    store = {};
    store.last = last;
}

void config_walk(const config_store &store, void (*tell)(const config_line &line, void *with), void *with) {
    const auto tell_settings = [=](const context &in) {
        for (const stored &setting : in.settings) {
            tell(line_of(in, setting), with);
        }
    };
    tell_settings(store.global);
    bool first = true;
    for (const auto &one : store.contexts) {
        if (!is_shown(*one)) {
            continue;
        }
        if (first) {
            tell({"", 0, k_config_global}, with);
            first = false;
        }
        tell(line_of(*one, one->entering), with);
        tell_settings(*one);
        tell({"!", 0, one->number}, with);
    }
}

size_t config_compare(const config_store &first, const config_store &second,
                      void (*tell)(config_side side, const config_line &line, void *with), void *with) {
    using one = std::unique_ptr<context>;
    size_t differ = compare_settings(first.global, second.global, nullptr, tell, with);
    merge(first.contexts, second.contexts, [&](const one *a, const one *b) {
        const bool in_first = a != nullptr && is_shown(**a);
        const bool in_second = b != nullptr && is_shown(**b);
        if (in_first && in_second) {
            differ += compare_settings(**a, **b, &(*a)->entering, tell, with);
        } else if (in_first) {
            differ += tell_context(config_side::first, **a, tell, with);
        } else if (in_second) {
            differ += tell_context(config_side::second, **b, tell, with);
        }
    });
    return differ;
}
