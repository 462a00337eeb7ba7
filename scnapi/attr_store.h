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

// Type and number of values of `tag` on a record of owner kind `kind`, with
// the counts that depend on another tag taken from the record in the store.
// 0 when the tag is accepted; 1 when it is rejected (*count is then 0).
int attr_classify(const scnapi_handle *h, int kind, int tag, int *type, int *count);

}  // namespace scnapi
