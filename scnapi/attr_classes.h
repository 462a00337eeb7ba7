// Classification of tagged attributes: which tags each owner kind accepts,
// and the type and number of values each accepted tag carries.
#pragma once

namespace scnapi {

// Value types of tagged attributes, by their codes in the store.
enum AttrType { kAttrFloat = 0, kAttrInt = 1, kAttrChar = 2 };

// Owner kinds: the kind of record that owns a list of tagged attributes.
enum OwnerKind {
    kNoOwner = 0,
    kPart = 1,
    kRendAttr = 2,
    kVport = 3,
    kAplane = 4,
    kAnnot = 5,
    kImage = 6,
    kGeom = 7,
    kNote = 8,
};

// Tags first..last of one owner kind, each with `count` values of `type`.
// A dependent class (governor != 0) has count + per_governor * N values,
// where N is the first int value of the governing tag in the same record
// (0 when the record has none).
struct AttrClass {
    int kind;
    int first;
    int last;
    AttrType type;
    int count;
    int governor;
    int per_governor;
};

// The class of (kind, tag), or null when the tag is rejected for that kind.
const AttrClass *find_attr_class(int kind, int tag);

}  // namespace scnapi
