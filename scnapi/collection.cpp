#include "collection.h"

#include <cstdio>

#include "storage.h"

namespace scnapi {
namespace {

hid_t file_of(const scnapi_handle *h) { return h ? h->fileId : -1; }

void say(const std::string &line) { std::puts(line.c_str()); }

Collection::Messages standard_messages(const std::string &entry, const std::string &group,
                                       const std::string &counter, const std::string &record) {
    const std::string p = entry + ": ";
    Collection::Messages m;
    m.create_group = p + "error creating " + group + " group";
    m.init_counter = p + "error initializing " + counter;
    m.create_record = p + "error creating " + record + "_n group";
    m.read_counter = p + "error reading existing " + counter;
    m.write_counter = p + "error writing incremented " + counter;
    m.close_group = closing_message(entry, group);
    m.close_record = closing_message(entry, record + "_n");
    return m;
}

// Adds one to the counter on `holder`; false after reporting a failure.
bool count_new_record(hid_t holder, const Collection &c) {
    int count = 0;
    if (read_att_int(holder, c.counter.c_str(), &count, 0) < 0) {
        say(c.msg.read_counter);
        return false;
    }
    if (write_att_int(holder, c.counter.c_str(), count + 1) < 0) {
        say(c.msg.write_counter);
        return false;
    }
    return true;
}

// The group that carries the counter: the collection group (created with
// its counter at 0 when absent), or for the nested form the parent record,
// whose sub-collection group is created on the way.
H5Id open_holder(hid_t file, const Collection &c) {
    if (!c.nested) {
        bool created = false;
        H5Id group = open_or_create_group(file, c.parent + "/" + c.group, &created);
        if (!group) {
            say(c.msg.create_group);
            return H5Id();
        }
        if (created && write_att_int(group.get(), c.counter.c_str(), 0) < 0) {
            say(c.msg.init_counter);
            return H5Id();
        }
        return group;
    }
    H5Id parent = open_group(file, c.parent);
    if (!parent) {
        std::fputs(c.msg.missing_parent.c_str(), stdout);
        return H5Id();
    }
    bool created = false;
    H5Id sub = open_or_create_group(parent.get(), c.group, &created);
    if (!sub) {
        say(c.msg.create_group);
        return H5Id();
    }
    return parent;
}

}  // namespace

int init_num_attrs(hid_t record) { return write_att_int(record, "numAttrs", 0) < 0 ? 1 : 0; }

Collection collection(const char *entry, const char *group, const char *counter,
                      const char *record) {
    Collection c;
    c.parent = "/top";
    c.group = group;
    c.counter = counter;
    c.record = record;
    c.msg = standard_messages(entry, group, counter, record);
    return c;
}

Collection nested_collection(const char *entry, const std::string &parent_path,
                             const char *parent_word, int parent_index, const char *group,
                             const char *counter, const char *record) {
    Collection c = collection(entry, group, counter, record);
    c.parent = parent_path;
    c.nested = true;
    c.msg.missing_parent = format_path("%s: error %s_%d group does not exist\n", entry,
                                       parent_word, parent_index);
    return c;
}

H5Id begin_record(const scnapi_handle *h, const Collection &c, int index) {
    H5Id holder = open_holder(file_of(h), c);
    if (!holder) return H5Id();

    std::string name = format_path("%s_%d", c.record.c_str(), index);
    if (c.nested) name = c.group + "/" + name;
    bool created = false;
    H5Id record = open_or_create_group(holder.get(), name, &created);
    if (!record) {
        say(c.msg.create_record);
        return H5Id();
    }
    bool counted = true;
    if (created) {
        counted = count_new_record(holder.get(), c);
        if (c.on_create && c.on_create(record.get()) != 0) counted = false;
    }
    if (holder.close() < 0) {
        say(c.msg.close_group);
        return H5Id();
    }
    // A record whose counting failed stays in the file, possibly uncounted.
    if (!counted) return H5Id();
    return record;
}

int end_record(H5Id &record, const std::string &close_message, int status) {
    if (record.close() < 0) {
        say(close_message);
        return 1;
    }
    return status;
}

int read_count(const scnapi_handle *h, const std::string &path, const char *counter,
               const char *close_message, bool quiet) {
    H5Id group = open_group(file_of(h), path);
    if (!group) return 0;
    int count = 0;
    if (read_att_int(group.get(), counter, &count, quiet ? 1 : 0) < 0) count = 0;
    if (group.close() < 0) {
        std::puts(close_message);
        return -1;
    }
    return count;
}

std::string closing_message(const std::string &entry, const std::string &what) {
    return entry + ": error closing " + what + " group";
}

int read_int_item(hid_t record, const char *name, int *out) {
    return out && read_att_int(record, name, out, 0) < 0 ? 1 : 0;
}

H5Id open_record(const scnapi_handle *h, const std::string &path, const char *entry) {
    H5Id record = open_group(file_of(h), path);
    if (!record) std::printf("%s: error opening group '%s'\n", entry, path.c_str());
    return record;
}

}  // namespace scnapi
