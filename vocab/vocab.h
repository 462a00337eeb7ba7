// vocab.h - the constant table and the value-to-name lookup, shared by the
// scene file library and the scripting module.
#ifndef SCNAPI_VOCAB_H
#define SCNAPI_VOCAB_H

#include <cstddef>

namespace vocab {

struct Constant {
    const char *name;
    int value;
};

// Every OXR_ constant, in ascending byte order of the names.
inline constexpr Constant kConstants[] = {
#define OXR_CONSTANT(name, value) {#name, value},
#include "oxr_table.def"
#undef OXR_CONSTANT
};

inline constexpr std::size_t kConstantCount =
    sizeof(kConstants) / sizeof(kConstants[0]);

// Returned by enum_name for every value it does not name.
inline constexpr const char kUnknownEnum[] = "ERROR: Unknown enum.";

// Name of the constant with this value among the part, variable, rep,
// render-attribute, element, centering and viewport constants; kUnknownEnum
// otherwise. The result is a static string. Pure and allocation-free.
const char *enum_name(int value) noexcept;

}  // namespace vocab

#endif  // SCNAPI_VOCAB_H
