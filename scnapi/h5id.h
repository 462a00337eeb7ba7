// Scope guard for HDF5 identifiers.
//
// Every HDF5 object a library call opens is closed before the call returns.
// H5Id closes its id automatically on every early return; close() closes it
// explicitly where a failed close has a diagnostic of its own.
#pragma once

#include <hdf5.h>

#include <utility>

namespace scnapi {

class H5Id {
public:
    using Closer = herr_t (*)(hid_t);

    H5Id() = default;
    H5Id(hid_t id, Closer closer) : id_(id), closer_(closer) {}
    H5Id(const H5Id &) = delete;
    H5Id &operator=(const H5Id &) = delete;
    H5Id(H5Id &&other) noexcept
        : id_(std::exchange(other.id_, -1)), closer_(other.closer_) {}
    H5Id &operator=(H5Id &&other) noexcept {
        if (this != &other) {
            reset();
            id_ = std::exchange(other.id_, -1);
            closer_ = other.closer_;
        }
        return *this;
    }
    ~H5Id() { reset(); }

    hid_t get() const { return id_; }
    bool valid() const { return id_ >= 0; }
    explicit operator bool() const { return valid(); }

    // Closes the id; returns the close's status (0 when nothing was open).
    herr_t close() {
        if (!valid()) return 0;
        return closer_(std::exchange(id_, -1));
    }

    // Closes the id, ignoring a failure: for paths that already fail.
    void reset() { (void)close(); }

private:
    hid_t id_ = -1;
    Closer closer_ = nullptr;
};

inline H5Id group_id(hid_t id) { return H5Id(id, H5Gclose); }
inline H5Id dataset_id(hid_t id) { return H5Id(id, H5Dclose); }
inline H5Id attribute_id(hid_t id) { return H5Id(id, H5Aclose); }
inline H5Id dataspace_id(hid_t id) { return H5Id(id, H5Sclose); }
inline H5Id plist_id(hid_t id) { return H5Id(id, H5Pclose); }

}  // namespace scnapi
