// test_vocab.cpp - checks of the constant table, the C header's enumerators
// and the value-to-name lookup. Prints "N passed, M failed" and exits
// non-zero when any check fails.
#include "oxr_constants.h"
#include "vocab.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>

namespace {

int g_passed = 0;
int g_failed = 0;

void check(bool ok, const char *what, const std::string &detail, int line) {
    if (ok) {
        ++g_passed;
        return;
    }
    ++g_failed;
    std::printf("FAIL line %d: %s %s\n", line, what, detail.c_str());
}

#define CHECK(cond, detail) check((cond), #cond, (detail), __LINE__)

bool same(const char *a, const char *b) { return std::strcmp(a, b) == 0; }

// Value of a constant by name; INT_MIN when the table has no such name.
int value_of(const char *name) {
    for (const vocab::Constant &c : vocab::kConstants) {
        if (same(c.name, name)) {
            return c.value;
        }
    }
    return INT_MIN;
}

// The families the lookup names, with how many constants each holds.
struct Family {
    const char *prefix;
    int count;
};
constexpr Family kNamedFamilies[] = {
    {"OXR_PART_", 120}, {"OXR_VAR_", 8},     {"OXR_REP_", 6},
    {"OXR_RENDATTR_", 90}, {"OXR_ELEM_", 15}, {"OXR_CENTER_", 3},
    {"OXR_VPORT_", 89},
};

constexpr std::size_t kFamilyCount =
    sizeof kNamedFamilies / sizeof kNamedFamilies[0];

bool named_family(const char *name) {
    for (const Family &f : kNamedFamilies) {
        if (std::strncmp(name, f.prefix, std::strlen(f.prefix)) == 0) {
            return true;
        }
    }
    return false;
}

// The C header's enumerators must be usable as constant expressions.
static_assert(OXR_VPORT_ROTMAT == 4207, "C enumerator value");
static_assert(OXR_TRACE_B0TH == 2, "C enumerator value");
static_assert(OXR_IMAGE_U_X0Y0X1Y1 == 1000, "C enumerator value");
static_assert(OXR_NOTE_PLACEHOLDER == 8000, "C enumerator value");
static_assert(OXR_ANIM_ONCE == 0 && OXR_ANIM_STOP == 0, "shared value");
static_assert(vocab::kConstantCount == 650, "table size");

void test_table_shape() {
    CHECK(vocab::kConstantCount == 650, std::to_string(vocab::kConstantCount));
    CHECK(same(vocab::kConstants[0].name, "OXR_ANIM_BOUNCE"), "first row");
    CHECK(same(vocab::kConstants[vocab::kConstantCount - 1].name,
               "OXR_VPORT_ZTRANSFORM"),
          "last row");
    for (std::size_t i = 0; i < vocab::kConstantCount; ++i) {
        const vocab::Constant &c = vocab::kConstants[i];
        CHECK(std::strncmp(c.name, "OXR_", 4) == 0, c.name);
        CHECK(c.value >= 0 && c.value <= 8000, c.name);
        if (i > 0) {
            // Strictly ascending byte order also proves the names unique.
            CHECK(std::strcmp(vocab::kConstants[i - 1].name, c.name) < 0,
                  c.name);
        }
    }
}

void test_shared_and_missing_values() {
    struct Pair {
        const char *a, *b;
        int value;
    };
    const Pair shared[] = {
        {"OXR_ANIM_ONCE", "OXR_ANIM_STOP", 0},
        {"OXR_ANNOT_TEXT", "OXR_ANNOT_HORZ", 10},
        {"OXR_PALETTE_RGB", "OXR_PALETTE_LINEAR", 10},
        {"OXR_REP_NONE", "OXR_IMAGE_U_X0Y0X1Y1", 1000},
        {"OXR_RENDATTR_TEXTSCALEWIN", "OXR_MAX_RENDATTR_ENUM", 1191},
        {"OXR_ELEM_QUAD8LIST", "OXR_LAST_NON_3D_ELEM_TYPE", 2010},
        {"OXR_ELEM_HEXLIST", "OXR_LAST_ELEM_TYPE", 2014},
        {"OXR_VAR_NAME_SIZE", "OXR_QUERY_MAX_STRING", 64},
        {"OXR_VAR_DESC_SIZE", "OXR_MIRROR_XYZ", 128},
    };
    for (const Pair &p : shared) {
        CHECK(value_of(p.a) == p.value, p.a);
        CHECK(value_of(p.b) == p.value, p.b);
    }
    const char *spelled[] = {"OXR_TRACE_B0TH", "OXR_FRAMEWORK_VERSION",
                             "OXR_MIN_RENDATTR_ENUM", "OXR_GEOM_POLYORDER"};
    for (const char *name : spelled) {
        CHECK(value_of(name) != INT_MIN, name);
    }
    CHECK(value_of("OXR_TRACE_BOTH") == INT_MIN, "letter O spelling absent");
    CHECK(value_of("OXR_MAX_ATTRTAGS") == INT_MIN, "library limit, not a row");
    for (int gap : {1109, 1110, 4210}) {
        bool named = false;
        for (const vocab::Constant &c : vocab::kConstants) {
            named = named || c.value == gap;
        }
        CHECK(!named, std::to_string(gap));
    }
}

void test_lookup_cases() {
    const char *unknown = "ERROR: Unknown enum.";
    CHECK(same(vocab::kUnknownEnum, unknown), vocab::kUnknownEnum);
    struct Case {
        int value;
        const char *name;
    };
    const Case cases[] = {
        // Every family name is checked against the table below; these are
        // the values that other families share.
        {0, "OXR_PART_MODEL"},
        {10, "OXR_PART_BND"},
        {64, "OXR_VAR_NAME_SIZE"},
        {128, "OXR_VAR_DESC_SIZE"},
        {1000, "OXR_REP_NONE"},
        {1191, "OXR_RENDATTR_TEXTSCALEWIN"},
        {2010, "OXR_ELEM_QUAD8LIST"},
        {2014, "OXR_ELEM_HEXLIST"},
        // Values with no name in the seven families.
        {20, unknown},   {30, unknown},   {32, unknown},  {40, unknown},
        {50, unknown},   {21, unknown}, {100, unknown}, {199, unknown},
        {413, unknown},  {999, unknown},  {1006, unknown}, {1020, unknown},
        {1099, unknown}, {1109, unknown}, {1110, unknown}, {1192, unknown},
        {1999, unknown}, {2015, unknown}, {3003, unknown}, {3099, unknown},
        {3106, unknown}, {4099, unknown}, {4148, unknown}, {4199, unknown},
        {4210, unknown}, {4240, unknown}, {4299, unknown}, {4302, unknown},
        {5000, unknown}, {6001, unknown}, {7000, unknown}, {8000, unknown},
        {-1, unknown},   {INT_MIN, unknown}, {INT_MAX, unknown},
        {INT_MIN + 1, unknown}, {-4207, unknown},
    };
    for (const Case &c : cases) {
        const char *got = vocab::enum_name(c.value);
        CHECK(got != nullptr && same(got, c.name),
              std::to_string(c.value) + " -> " + (got ? got : "(null)"));
    }
}

void test_lookup_against_table() {
    std::set<int> named_values;
    int per_family[kFamilyCount] = {};
    for (const vocab::Constant &c : vocab::kConstants) {
        for (std::size_t f = 0; f < kFamilyCount; ++f) {
            const char *prefix = kNamedFamilies[f].prefix;
            if (std::strncmp(c.name, prefix, std::strlen(prefix)) == 0) {
                ++per_family[f];
            }
        }
        if (named_family(c.name)) {
            named_values.insert(c.value);
            CHECK(same(vocab::enum_name(c.value), c.name), c.name);
        }
    }
    for (std::size_t f = 0; f < kFamilyCount; ++f) {
        CHECK(per_family[f] == kNamedFamilies[f].count,
              std::string(kNamedFamilies[f].prefix) + " " +
                  std::to_string(per_family[f]));
    }
    CHECK(named_values.size() == 331, std::to_string(named_values.size()));

    // Constants of other families whose value no named family uses.
    for (const vocab::Constant &c : vocab::kConstants) {
        if (!named_family(c.name) && named_values.count(c.value) == 0) {
            CHECK(same(vocab::enum_name(c.value), vocab::kUnknownEnum), c.name);
        }
    }

    // Over a range wider than the table, exactly the named values are known.
    int known = 0;
    bool only_named = true;
    for (int v = -100; v <= 9000; ++v) {
        const char *got = vocab::enum_name(v);
        if (!same(got, vocab::kUnknownEnum)) {
            ++known;
            only_named = only_named && named_values.count(v) == 1 &&
                         value_of(got) == v && named_family(got);
        }
    }
    CHECK(known == 331, std::to_string(known));
    CHECK(only_named, "every known value maps to its own family name");
}

}  // namespace

int main() {
    test_table_shape();
    test_shared_and_missing_values();
    test_lookup_cases();
    test_lookup_against_table();
    std::printf("%d passed, %d failed\n", g_passed, g_failed);
    return g_failed == 0 ? 0 : 1;
}
