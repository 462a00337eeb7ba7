// The tagged attribute store: announce, add and flush on the writing side;
// load and serve on the reading side, with the last record cached.
//
// In the record group, "numAttrs" counts the attributes; "attrTags" and
// "attrPtrs" give each one's tag and the offset of its first value in the
// array of its type ("ivals", "fvals" or "cvals", with their lengths in
// "ivalsLen", "fvalsLen" and "cvalsLen").
#include "attr_store.h"

#include <hdf5.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "attr_classes.h"
#include "groups.h"
#include "h5id.h"
#include "state.h"
#include "storage.h"

namespace scnapi {
namespace {

static_assert(kAttrFloat == SCNAPI_ATTR_FLOAT && kAttrInt == SCNAPI_ATTR_INT &&
                  kAttrChar == SCNAPI_ATTR_CHAR,
              "the store's type codes are the public ones");

// The record groups that own attributes, by owner kind.
struct Owner {
    const char *word;        // record word, also used in messages
    const char *collection;  // collection group under "/top"
};

constexpr Owner kOwners[] = {
    {nullptr, nullptr},       {"part", "Parts"},   {"rendAttr", "RendAttrs"},
    {"vport", "Vports"},      {"aplane", "Aplanes"}, {"annot", "Annots"},
    {"image", "Images"},      {"geom", "Geoms"},   {"note", "Notes"},
};

const Owner *owner_of(int kind) {
    return kind >= kPart && kind <= kNote ? &kOwners[kind] : nullptr;
}

// Word for messages; kinds outside the table have none of their own.
const char *word_of(int kind) {
    const Owner *o = owner_of(kind);
    return o ? o->word : "unknown";
}

std::string record_path(const Owner &o, int index) {
    return format_path("/top/%s/%s_%d", o.collection, o.word, index);
}

void empty_store(scnapi_handle *h) {
    h->attrKind = h->attrIndex = h->numAttrs = h->expectedAttrs = 0;
    h->ivalsLen = h->fvalsLen = h->cvalsLen = 0;
}

bool holds_record(const scnapi_handle *h, int kind, int index) {
    return h->attrKind != kNoOwner && h->attrKind == kind && h->attrIndex == index;
}

// Used length of the value array of `type`.
int values_length(const scnapi_handle *h, int type) {
    switch (type) {
        case kAttrInt: return h->ivalsLen;
        case kAttrFloat: return h->fvalsLen;
        default: return h->cvalsLen;
    }
}

const char *values_name(int type) {
    switch (type) {
        case kAttrInt: return "ivals";
        case kAttrFloat: return "fvals";
        default: return "cvals";
    }
}

// First int value of `governor` among the record's attributes; 0 when the
// record has none (or its offset is unusable).
long long governing_value(const scnapi_handle *h, int governor) {
    int n = std::min(std::max(h->numAttrs, 0), OXR_MAX_ATTRTAGS);
    for (int i = 0; i < n; ++i) {
        if (h->attrTags[i] != governor) continue;
        int ptr = h->attrPtrs[i];
        if (ptr < 0 || ptr >= h->ivalsLen || ptr >= h->ibufSize || !h->ibuf) return 0;
        return h->ibuf[ptr];
    }
    return 0;
}

// Copies `count` values from offset `ptr` of an array of which `loaded`
// values were loaded. An attribute added before its governing count has
// fewer values of its own in the file than a reader counts (or none): the
// positions past the loaded values are given as zeros, so that nothing is
// ever read beyond them. (For chars the NUL stored after the text counts as
// loaded; it is a zero as well.)
template <class T>
void copy_served(T *dest, const T *values, long long loaded, long long ptr, int count) {
    const long long have = std::min<long long>(std::max(loaded - ptr, 0LL), count);
    if (have > 0) std::memcpy(dest, values + ptr, static_cast<size_t>(have) * sizeof(T));
    std::memset(dest + have, 0, static_cast<size_t>(count - have) * sizeof(T));
}

// ---- writing ---------------------------------------------------------------

// Makes room for `needed` elements in a write buffer, growing its capacity
// by the factor 1.2. The buffer is kept as it was when growing fails (or
// would pass the bound on values).
template <class T>
bool grow_for_write(T *&buf, int &capacity, long long needed) {
    if (needed <= capacity) return true;
    if (needed > kMaxAttrValues) return false;
    long long next = capacity;
    // The +1 keeps a tiny (or zero) capacity from never growing.
    while (next < needed) next = std::max(next + 1, static_cast<long long>(next * 1.2));
    T *grown = static_cast<T *>(std::realloc(buf, static_cast<size_t>(next) * sizeof(T)));
    if (!grown) return false;
    buf = grown;
    capacity = static_cast<int>(next);
    return true;
}

// Appends `count` values of `type` to their buffer. Texts are copied up to
// their end and zero-padded to exactly `count` bytes. 2 (reported) when the
// buffer cannot grow.
int append_values(scnapi_handle *h, int type, int count, const void *values) {
    const char *entry = "scn_write_attr";
    if (count == 0) return 0;
    switch (type) {
        case kAttrInt:
            if (!grow_for_write(h->ibuf, h->ibufSize, 0LL + h->ivalsLen + count)) {
                std::printf("%s: error reallocating handle->ibuf\n", entry);
                return 2;
            }
            std::memcpy(h->ibuf + h->ivalsLen, values, sizeof(int) * count);
            h->ivalsLen += count;
            return 0;
        case kAttrFloat:
            if (!grow_for_write(h->fbuf, h->fbufSize, 0LL + h->fvalsLen + count)) {
                std::printf("%s: error reallocating handle->fbuf\n", entry);
                return 2;
            }
            std::memcpy(h->fbuf + h->fvalsLen, values, sizeof(float) * count);
            h->fvalsLen += count;
            return 0;
        default: {
            if (!grow_for_write(h->cbuf, h->cbufSize, 0LL + h->cvalsLen + count)) {
                std::printf("%s: error reallocating handle->cbuf\n", entry);
                return 2;
            }
            const char *text = static_cast<const char *>(values);
            size_t used = strnlen(text, static_cast<size_t>(count));
            char *dest = h->cbuf + h->cvalsLen;
            std::memcpy(dest, text, used);
            std::memset(dest + used, 0, static_cast<size_t>(count) - used);
            h->cvalsLen += count;
            return 0;
        }
    }
}

// ---- loading ---------------------------------------------------------------

enum class Load { kOk, kFailed, kRefused, kNoMemory };

const char *const kLoader = "scn_read_num_attributes";

// Opens dataset `name` for a read of exactly n stored elements: a length
// the file does not back with data never sizes a buffer. An empty
// StoredArray after reporting why not.
StoredArray open_length(hid_t group, const char *name, int n) {
    StoredArray stored(group, name);
    if (!stored) {
        std::printf("Error opening dataset: %s\n", name);
    } else if (stored.elements() != static_cast<hsize_t>(n)) {
        std::printf("%s: %s holds %llu values, not %d\n", kLoader, name,
                    static_cast<unsigned long long>(stored.elements()), n);
    } else if (n > 0 && !stored.written()) {
        std::printf("%s: %s was never written\n", kLoader, name);
    } else {
        return stored;
    }
    return StoredArray();
}

// Reads a length attribute ("ivalsLen", ...), which must lie within the
// bound on values.
bool read_length(hid_t group, const char *name, int *len) {
    if (read_att_int(group, name, len, 0) < 0) {
        std::printf("%s: error reading %s\n", kLoader, name);
        return false;
    }
    if (*len < 0 || *len > kMaxAttrValues) {
        std::printf("%s: %s out of range (%d)\n", kLoader, name, *len);
        return false;
    }
    return true;
}

// Gives a read buffer room for exactly `needed` elements, when it has less.
template <class T>
bool fit_for_read(T *&buf, int &capacity, int needed) {
    if (needed <= capacity) return true;
    T *grown = static_cast<T *>(std::realloc(capacity > 0 ? buf : nullptr,
                                             static_cast<size_t>(needed) * sizeof(T)));
    if (!grown) return false;
    buf = grown;
    capacity = needed;
    return true;
}

// Loads value array `name` of `len` elements (`type`) into its buffer,
// which grows to `room` elements only after the stored dataset is found to
// hold the length: a failed check is reported as the failed read it stands
// for ("error reading ibuf"). `finish` completes the buffer after the read
// (the text's NUL).
template <class T, class Finish>
Load load_values(hid_t group, const char *name, const char *buffer, hid_t type, int len,
                 int room, T *&buf, int &capacity, Finish &&finish) {
    if (StoredArray stored = open_length(group, name, len)) {
        if (!fit_for_read(buf, capacity, room)) {
            std::printf("%s: error allocing %s\n", kLoader, buffer);
            return Load::kNoMemory;
        }
        if (stored.read(type, buf, static_cast<hsize_t>(len)) >= 0) {
            finish(buf);
            return Load::kOk;
        }
    }
    std::printf("%s: error reading %s\n", kLoader, buffer);
    return Load::kFailed;
}

bool read_ints(hid_t group, const char *name, int *buf, int n) {
    StoredArray stored = open_length(group, name, n);
    return stored && stored.read(H5T_NATIVE_INT, buf, static_cast<hsize_t>(n)) >= 0;
}

// Loads the attributes of the open record group into the (empty) store.
Load load_record(scnapi_handle *h, hid_t group) {
    int count = 0;
    if (read_att_int(group, "numAttrs", &count, 0) < 0) {
        std::printf("%s: error reading numAttrs\n", kLoader);
        return Load::kFailed;
    }
    if (count > OXR_MAX_ATTRTAGS) {
        std::printf("%s: Exceeds OXR_MAX_ATTRTAGS\n", kLoader);
        return Load::kRefused;
    }
    if (count < 0) {
        std::printf("%s: numAttrs out of range (%d)\n", kLoader, count);
        return Load::kFailed;
    }
    if (count == 0) return Load::kOk;

    int ilen = 0, flen = 0, clen = 0;
    bool ok = read_length(group, "ivalsLen", &ilen);
    ok = read_length(group, "fvalsLen", &flen) && ok;
    ok = read_length(group, "cvalsLen", &clen) && ok;
    ok = read_ints(group, "attrTags", h->attrTags, count) && ok;
    ok = read_ints(group, "attrPtrs", h->attrPtrs, count) && ok;
    if (!ok) return Load::kFailed;
    h->numAttrs = count;
    h->ivalsLen = ilen;
    h->fvalsLen = flen;
    h->cvalsLen = clen;

    // The char buffer keeps room for the NUL stored after the text; a failed
    // "cvals" ends the load at once.
    Load got = Load::kOk;
    auto nothing = [](void *) {};
    if (ilen > 0)
        got = load_values(group, "ivals", "ibuf", H5T_NATIVE_INT, ilen, ilen, h->ibuf, h->ibufSize,
                          nothing);
    if (got != Load::kNoMemory && flen > 0) {
        Load f = load_values(group, "fvals", "fbuf", H5T_NATIVE_FLOAT, flen, flen, h->fbuf,
                             h->fbufSize, nothing);
        got = f == Load::kOk ? got : f;
    }
    if (got != Load::kNoMemory && clen > 0) {
        Load c = load_values(group, "cvals", "cbuf", H5T_NATIVE_SCHAR, clen, clen + 1, h->cbuf,
                             h->cbufSize, [&](char *buf) { buf[clen] = '\0'; });
        got = c == Load::kOk ? got : c;
    }
    // Offsets are not checked here: each attribute's values are bounded by
    // the loaded arrays when it is served.
    return got;
}

// Whether the store holds (kind, index); reports the mismatch otherwise.
bool serving(const scnapi_handle *h, int kind, int index, const char *entry) {
    if (holds_record(h, kind, index)) return true;
    std::printf("%s: Incorrect attr info for %s, in handle\n", entry, word_of(kind));
    return false;
}

}  // namespace

int attr_flush(scnapi_handle *h) {
    const Owner *owner = owner_of(h->attrKind);
    if (!owner) return 0;
    H5Id group = open_group(h->fileId, record_path(*owner, h->attrIndex));
    if (!group) {
        std::printf("attr_flush: error %s_%d group does not exist\n", owner->word, h->attrIndex);
        empty_store(h);
        return 1;
    }
    hid_t g = group.get();
    bool failed = write_att_int(g, "numAttrs", h->numAttrs) < 0;
    if (h->numAttrs > 0) {
        hsize_t n = static_cast<hsize_t>(h->numAttrs);
        failed |= write_att_int(g, "ivalsLen", h->ivalsLen) < 0;
        failed |= write_att_int(g, "fvalsLen", h->fvalsLen) < 0;
        failed |= write_att_int(g, "cvalsLen", h->cvalsLen) < 0;
        failed |= write_dataset_int(h, g, "attrTags", n, h->attrTags) < 0;
        failed |= write_dataset_int(h, g, "attrPtrs", n, h->attrPtrs) < 0;
        if (h->ivalsLen > 0)
            failed |= write_dataset_int(h, g, "ivals", static_cast<hsize_t>(h->ivalsLen), h->ibuf) < 0;
        if (h->fvalsLen > 0)
            failed |= write_dataset_flt(h, g, "fvals", static_cast<hsize_t>(h->fvalsLen), h->fbuf) < 0;
        if (h->cvalsLen > 0)
            failed |= write_dataset_str(g, "cvals", static_cast<hsize_t>(h->cvalsLen), h->cbuf) < 0;
    }
    if (group.close() < 0) {
        std::printf("attr_flush: error closing %s_%d group\n", owner->word, h->attrIndex);
        failed = true;
    }
    empty_store(h);
    return failed ? 1 : 0;
}

}  // namespace scnapi

using namespace scnapi;

extern "C" {

int attr_classify(const scnapi_handle *h, int kind, int tag, int *type, int *count) {
    const AttrClass *c = find_attr_class(kind, tag);
    long long n = c ? c->count : 0;
    // Without a handle there is no record to take a governing count from.
    if (c && c->governor != 0 && h) n += c->per_governor * governing_value(h, c->governor);
    // A governing count that makes the number of values negative or absurd
    // leaves the dependent tag unusable: it is rejected like an unknown one.
    if (!c || n < 0 || n > kMaxAttrValues) {
        if (count) *count = 0;
        return 1;
    }
    if (type) *type = c->type;
    if (count) *count = static_cast<int>(n);
    return 0;
}

int scn_write_num_attributes(scnapi_handle *h, int kind, int index, int count) {
    if (!h) return 1;
    if (h->attrKind != kNoOwner && !holds_record(h, kind, index)) {
        int status = attr_flush(h);
        if (status != 0) {
            std::printf("%s: flushing failed\n", "scn_write_num_attributes");
            return status;
        }
    }
    empty_store(h);
    h->attrKind = kind;
    h->attrIndex = index;
    h->expectedAttrs = count;
    return 0;
}

int scn_write_attr(scnapi_handle *h, int kind, int index, int tag, const void *values) {
    const char *entry = "scn_write_attr";
    if (!h) return 1;
    if (h->numAttrs >= OXR_MAX_ATTRTAGS) {
        std::printf("%s: Trying to exceed OXR_MAX_ATTRTAGS\n", entry);
        return 1;
    }
    if (h->attrKind == kNoOwner) {
        std::printf("%s: Did not previously call %s \n", entry, "scn_write_num_attributes");
        return 1;
    }
    if (!holds_record(h, kind, index)) {
        int status = attr_flush(h);
        if (status != 0) {
            std::printf("%s: flushing failed\n", entry);
            return status;
        }
        // The record in the store is written; the one named here was never
        // announced, so its attribute is refused rather than kept in a store
        // without owner, where it would silently be lost.
        std::printf("%s: Did not previously call %s \n", entry, "scn_write_num_attributes");
        return 1;
    }
    int type = 0, count = 0;
    if (attr_classify(h, kind, tag, &type, &count) != 0) {
        std::printf("%s: invalid tag (0x%04x)\n", entry, tag);
        return 1;
    }
    if (count > 0 && !values) {
        std::printf("%s: no values for tag (0x%04x)\n", entry, tag);
        return 1;
    }
    int slot = h->numAttrs;
    h->attrTags[slot] = tag;
    h->attrPtrs[slot] = values_length(h, type);
    int status = append_values(h, type, count, values);
    if (status != 0) return status;
    h->numAttrs = slot + 1;
    if (h->numAttrs == h->expectedAttrs) {
        status = attr_flush(h);
        if (status != 0) {
            std::printf("%s: writing rep attrs to file failed\n", entry);
            return status;
        }
    }
    return 0;
}

int scn_read_num_attributes(scnapi_handle *h, int kind, int index) {
    if (!h) return -1;
    // Files of these versions have no geom attributes.
    if (kind == kGeom && api_version_before("1.02.01")) {
        empty_store(h);
        h->attrKind = kGeom;
        h->attrIndex = index;
        return 0;
    }
    if (holds_record(h, kind, index)) return h->numAttrs;

    // From here on the store holds no record until the load succeeds, so a
    // failed load is retried afresh by the next call.
    empty_store(h);
    const Owner *owner = owner_of(kind);
    H5Id group = owner ? open_group(h->fileId, record_path(*owner, index)) : H5Id();
    if (!group) {
        std::printf("%s: error opening %s group\n", kLoader, word_of(kind));
        std::printf("%s: loading attrs failed\n", kLoader);
        return -1;
    }
    Load load = load_record(h, group.get());
    if (load == Load::kOk) {
        h->attrKind = kind;
        h->attrIndex = index;
    } else {
        empty_store(h);
    }
    if (load == Load::kRefused) return -1;
    if (load == Load::kNoMemory) return 2;
    int result = h->numAttrs;
    if (group.close() < 0) {
        std::printf("%s: error closing %s group\n", kLoader, word_of(kind));
        empty_store(h);
        result = -1;
    }
    if (load == Load::kFailed) {
        std::printf("%s: loading attrs failed\n", kLoader);
        return -1;
    }
    return result;
}

int scn_read_attribute_ids(scnapi_handle *h, int kind, int index, int *tags) {
    if (!h || !serving(h, kind, index, "scn_read_attribute_ids")) return 1;
    if (tags && h->numAttrs > 0)
        std::memcpy(tags, h->attrTags, sizeof(int) * static_cast<size_t>(h->numAttrs));
    return 0;
}

int scn_read_attr(scnapi_handle *h, int kind, int index, int ordinal, void *values) {
    const char *entry = "scn_read_attr";
    if (!h || !serving(h, kind, index, entry)) return 1;
    // The ordinal indexes the store's fixed arrays: anything outside the
    // loaded list would read stale or foreign entries.
    if (ordinal < 0 || ordinal >= h->numAttrs) {
        std::printf("%s: no attribute %d in the %s record\n", entry, ordinal, word_of(kind));
        return 1;
    }
    // The tag is classified against the whole loaded list, so a dependent
    // count comes from its governing tag wherever that stands.
    int type = 0, count = 0;
    if (attr_classify(h, kind, h->attrTags[ordinal], &type, &count) != 0) return 1;
    const long long ptr = h->attrPtrs[ordinal];
    if (ptr < 0) {
        std::printf("%s: values of attribute %d (tag 0x%04x) lie outside %s\n", entry, ordinal,
                    h->attrTags[ordinal], values_name(type));
        return 1;
    }
    if (!values || count == 0) return 0;
    switch (type) {
        case kAttrInt:
            copy_served(static_cast<int *>(values), h->ibuf, h->ivalsLen, ptr, count);
            break;
        case kAttrFloat:
            copy_served(static_cast<float *>(values), h->fbuf, h->fvalsLen, ptr, count);
            break;
        default:
            copy_served(static_cast<char *>(values), h->cbuf, h->cvalsLen, ptr, count);
            break;
    }
    return 0;
}

}  // extern "C"
