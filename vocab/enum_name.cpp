// enum_name.cpp - value-to-name lookup over the constant table.
//
// Only seven families are named: their values never collide with one
// another, so the mapping is a function. Where another family shares a
// value (0, 10, 1000, 2014, ...) the name from these families is returned.
// Note that OXR_VAR_ also holds the text-size limits OXR_VAR_NAME_SIZE (64)
// and OXR_VAR_DESC_SIZE (128), so those two values are named too.
//
// The index is derived at compile time from kConstants, so there is one
// list of names only; a lookup is a binary search over it.
#include "vocab.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace vocab {
namespace {

constexpr const char *kNamedFamilies[] = {
    "OXR_PART_", "OXR_VAR_",    "OXR_REP_",   "OXR_RENDATTR_",
    "OXR_ELEM_", "OXR_CENTER_", "OXR_VPORT_",
};

// Prefixes end in '_', so "OXR_REP_" cannot match "OXR_RENDATTR_..." and
// "OXR_VAR_" cannot match a longer family word.
constexpr bool starts_with(const char *text, const char *prefix) {
    for (; *prefix != '\0'; ++text, ++prefix) {
        if (*text != *prefix) {
            return false;
        }
    }
    return true;
}

constexpr bool in_named_family(const char *name) {
    for (const char *prefix : kNamedFamilies) {
        if (starts_with(name, prefix)) {
            return true;
        }
    }
    return false;
}

constexpr std::size_t count_named() {
    std::size_t count = 0;
    for (const Constant &c : kConstants) {
        if (in_named_family(c.name)) {
            ++count;
        }
    }
    return count;
}

constexpr std::size_t kNamedCount = count_named();
static_assert(kNamedCount == 331, "the named families hold 331 constants");

using NameIndex = std::array<Constant, kNamedCount>;

// The named constants sorted by value (insertion sort: std::sort is not
// constexpr in C++17, and the table is small).
constexpr NameIndex make_index() {
    NameIndex index{};
    std::size_t n = 0;
    for (const Constant &c : kConstants) {
        if (!in_named_family(c.name)) {
            continue;
        }
        std::size_t at = n++;
        while (at > 0 && index[at - 1].value > c.value) {
            index[at] = index[at - 1];
            --at;
        }
        index[at] = c;
    }
    return index;
}

constexpr NameIndex kIndex = make_index();

constexpr bool strictly_increasing(const NameIndex &index) {
    for (std::size_t i = 1; i < index.size(); ++i) {
        if (index[i - 1].value >= index[i].value) {
            return false;
        }
    }
    return true;
}

static_assert(strictly_increasing(kIndex),
              "values of the named families are unique");

}  // namespace

const char *enum_name(int value) noexcept {
    const Constant *found = std::lower_bound(
        kIndex.begin(), kIndex.end(), value,
        [](const Constant &c, int v) { return c.value < v; });
    if (found == kIndex.end() || found->value != value) {
        return kUnknownEnum;
    }
    return found->name;
}

}  // namespace vocab
