#include "state.h"

#include <cstring>

namespace scnapi {

bool been_here = false;
bool AtExitCalled = false;
int Compression_Num = 0;
int Compression_Enum[kCompressionSlots] = {};
const char *Compression_Name[kCompressionSlots] = {};
int Compression_Default = -1;
bool Have_Shuffle = false;

char ScnApiVersion[kVersionLen] = {};
char ScnFileVersion[kVersionLen] = {};
bool Previous_to_framework_version = false;

static bool version_before(const char *stored, const char *literal) {
    return std::strncmp(stored, literal, std::strlen(literal)) < 0;
}

bool file_version_before(const char *literal) {
    return version_before(ScnFileVersion, literal);
}

bool api_version_before(const char *literal) {
    return version_before(ScnApiVersion, literal);
}

}  // namespace scnapi
