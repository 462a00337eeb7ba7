// The tagged attribute store: the attributes of one record, kept in the
// library handle between the calls that write or read them.
#pragma once

#include "scnapi/scnapi.h"

namespace scnapi {

// Bound on the values of one type in one record (elements, or bytes for
// chars). It keeps a malformed file, or a governing count gone wild, from
// causing absurd allocations; no legitimate record comes near it.
constexpr int kMaxAttrValues = 1 << 24;

// Writes the record in the store into its record group and empties the
// store (also when the write fails). 0 = written or nothing to write,
// 1 = failure.
int attr_flush(scnapi_handle *h);

// attr_classify (public, scn_attr.h) gives the type and number of values of
// a tag, dependent counts taken from the record in the store.

}  // namespace scnapi
