// What the documents of the register map say in the same words.

#include "apps/mapdoc/mapdoc.h"

#include "apps/common/text_append.h"

#include <iterator>

namespace {

struct type_words {
    const char *key;
    const char *type;
    const char *order;
};

// Indexed by mb_type.
constexpr type_words k_types[] = {
    {"u16", "16-bit unsigned", ""},
    {"words", "16-bit words", "as stored"},
    {"u32", "32-bit unsigned", "high word first"},
    {"text", "text, 2 characters a register", "first character in the high byte"},
    {"wide_text", "text, 1 character a register", "character in the low byte"},
    {"address", "6 bytes, 2 a register", "first byte in the high byte"},
    {"byte_pair", "2 bytes", "high byte, low byte"},
    {"bits", "bit fields", ""},
};
static_assert(std::size(k_types) == static_cast<size_t>(mb_type::count));

} // namespace

const char *mapdoc_type(mb_type type) { return k_types[static_cast<size_t>(type)].type; }

const char *mapdoc_word_order(mb_type type) { return k_types[static_cast<size_t>(type)].order; }

const char *mapdoc_type_key(mb_type type) { return k_types[static_cast<size_t>(type)].key; }

std::string mapdoc_meaning(const mb_item &item) {
    std::string text = item.meaning;
    for (size_t value = 0; value < item.values.size(); value++) {
        text_append(text, "%s %zu %s", value == 0 ? ":" : ",", value, item.values[value]);
    }
    if (item.entry == mb_entry::first && item.count > 1) {
        text += "; begin at the first register";
    }
    return text;
}

std::string mapdoc_element(const mb_group &group, unsigned element) {
    std::string text;
    if (*group.element != '\0') {
        text_append(text, "%s %u", group.element, group.element_number + element);
    }
    return text;
}
