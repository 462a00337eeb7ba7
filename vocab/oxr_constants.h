/*
 * oxr_constants.h - the OXR_ constants as C enumerators, for producers and
 * consumers of scene files written in C or C++.
 */
#ifndef OXR_CONSTANTS_H
#define OXR_CONSTANTS_H

enum {
#define OXR_CONSTANT(name, value) name = value,
#include "oxr_table.def"
#undef OXR_CONSTANT
};

#endif /* OXR_CONSTANTS_H */
