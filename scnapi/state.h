// Process-wide library state, shared by every handle of the process.
//
// The library is used from one thread; this state is written without locks.
#pragma once

#include <cstddef>

namespace scnapi {

constexpr int kCompressionSlots = 5;
constexpr int kDeflateFilter = 1;  // HDF5 filter ids
constexpr int kShuffleFilter = 2;
constexpr int kSzipFilter = 4;

// One-time set-up (scnapi_init) and the compression table it fills.
extern bool been_here;
extern bool AtExitCalled;
extern int Compression_Num;
extern int Compression_Enum[kCompressionSlots];
extern const char *Compression_Name[kCompressionSlots];
extern int Compression_Default;
extern bool Have_Shuffle;

// Versions of the scene file most recently opened for reading; readers of
// older layouts branch on them.
constexpr std::size_t kVersionLen = 256;
extern char ScnApiVersion[kVersionLen];
extern char ScnFileVersion[kVersionLen];
extern bool Previous_to_framework_version;

// True when the leading characters of the stored file (or API) version sort
// before `literal` over its length, the way strncmp orders them.
bool file_version_before(const char *literal);
bool api_version_before(const char *literal);

}  // namespace scnapi
