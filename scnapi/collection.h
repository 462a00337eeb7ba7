// The collection convention: how every record family is laid out, written
// and read.
//
// A family is a collection group ("/top/Psrcs") with a counter attribute
// ("nPsrcs", created at 0 with the group) and record groups named by the
// record word and the caller's index ("psrc_3"). The counter counts record
// groups ever created: it is incremented only when a write creates a record
// group, so rewriting an index overwrites the record and leaves the counter
// alone. Readers enumerate 0 .. counter - 1 and report 0 for an absent
// collection.
//
// Sub-records of a parent record (a scene's parts) use the nested form: the
// parent group must exist, the sub-collection group carries no attribute and
// the counter lives on the parent.
#pragma once

#include <hdf5.h>

#include <string>

#include "groups.h"
#include "h5id.h"
#include "scnapi/scnapi.h"

namespace scnapi {

// One family (or sub-family) as a writer sees it.
struct Collection {
    std::string parent;   // group holding the collection: "/top", or the parent record
    std::string group;    // collection group below `parent`: "Psrcs", "parts"
    std::string counter;  // counter attribute: "nPsrcs" (on the parent when nested)
    std::string record;   // record word: record groups are "<record>_<index>"
    bool nested = false;

    // Full diagnostic lines, printed as they stand. The standard ones are
    // built from the entry's name and the names above; families that
    // deviate overwrite a line.
    struct Messages {
        std::string missing_parent;  // nested only
        std::string create_group, init_counter, create_record;
        std::string read_counter, write_counter;
        std::string close_group, close_record;
    } msg;

    // Runs on a newly created record group after the counter update (for
    // example to start the record's own counters at 0); non-zero = failure,
    // handled like a failed counter update.
    int (*on_create)(hid_t record) = nullptr;
};

// on_create hook of the families whose records carry tagged attributes:
// their record groups start with "numAttrs" = 0.
int init_num_attrs(hid_t record);

// A family under "/top" with the standard messages of `entry`.
Collection collection(const char *entry, const char *group, const char *counter,
                      const char *record);

// A sub-family of record `parent_index` of a parent family (the nested
// form), with the standard messages of `entry`: parent_path is the parent
// record group ("/top/Scenes/scene_2"), parent_word its record word
// ("scene") for the "does not exist" message.
Collection nested_collection(const char *entry, const std::string &parent_path,
                             const char *parent_word, int parent_index, const char *group,
                             const char *counter, const char *record);

// Steps up to the record's items: opens (creating and counting when new)
// record `index`. Returns the open record group, or an invalid id after
// reporting the failure.
H5Id begin_record(const scnapi_handle *h, const Collection &c, int index);

// Closes the record group after its items; returns 1 on a failed close
// (reported), else `status`.
int end_record(H5Id &record, const std::string &close_message, int status);

// Writes one record: `write_items(record_group)` writes the record's
// attributes and datasets and returns 0, or 1 if any of them failed (all of
// them are still attempted).
template <class WriteItems>
int write_record(const scnapi_handle *h, const Collection &c, int index,
                 WriteItems &&write_items) {
    H5Id record = begin_record(h, c, index);
    if (!record) return 1;
    int status = write_items(record.get());
    return end_record(record, c.msg.close_record, status);
}

// Count entry of a family: the counter of the collection group at `path`,
// 0 when the group is absent or the counter unreadable, -1 (after
// `close_message`) when the group cannot be closed.
int read_count(const scnapi_handle *h, const std::string &path, const char *counter,
               const char *close_message, bool quiet = false);

// Opens a record group for reading; on failure prints
// "<entry>: error opening group '<path>'" and returns an invalid id.
H5Id open_record(const scnapi_handle *h, const std::string &path, const char *entry);

// The diagnostic of a group that cannot be closed:
// "<entry>: error closing <what> group".
std::string closing_message(const std::string &entry, const std::string &what);

// One int item of a record for an output that may be null (then the item
// is not read): 1 when it cannot be read (the reader reports it), else 0.
int read_int_item(hid_t record, const char *name, int *out);

// Reads one record: `read_items(record_group)` reads the requested items and
// returns 0, or 1 if any of them failed (all are still attempted).
template <class ReadItems>
int read_record(const scnapi_handle *h, const std::string &path, const char *entry,
                const char *close_message, ReadItems &&read_items) {
    H5Id record = open_record(h, path, entry);
    if (!record) return 1;
    int status = read_items(record.get());
    return end_record(record, close_message, status);
}

}  // namespace scnapi
