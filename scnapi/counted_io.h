// Arrays of a record whose length the record's own count attributes
// announce: "nSteps" values of "stepValues", "numNodes" × "nodeDimension"
// floats of "coords", width × height × bytes per pixel of "pixels".
//
// Bulk readers take no length from their caller, who sized the buffer from
// the counts the record's info entry returned. They read those counts again
// and require the stored array to hold exactly that many, so that a
// malformed file (an array longer or shorter than announced, a negative or
// missing count) fails with a diagnostic instead of writing past the
// caller's buffer or making a caller allocate for data that is not there.
//
// Counts are 32-bit in the file and in the callers' arithmetic: no length
// above INT_MAX is accepted on either side.
#pragma once

#include <hdf5.h>

#include <functional>
#include <initializer_list>
#include <utility>

#include "scnapi/scnapi.h"

namespace scnapi {

// Elements in `count` values of `width` elements each; -1 when either is
// negative or the product exceeds INT_MAX. Silent (the callers report), and
// -1 in gives -1 out, so lengths compose: array_length(array_length(w, h), 3).
long long array_length(long long count, long long width);

// Where a bulk reader puts one stored array.
//
// The public entries pass their callers' arrays, which hold what the
// record's counts announce. The scripting module gives the size of its own
// array and lets the reader allocate it: the reader first checks the
// stored dataset and only then asks for the memory, so a count that the
// file does not back with data costs nothing.
class ArrayOut {
public:
    using Allocate = std::function<void *()>;

    // The caller's array (null: the item is not read), holding as many
    // elements as the record's counts announce. Implicit, so that entries
    // pass their callers' pointers as they are.
    ArrayOut(void *buf) : buf_(buf) {}  // NOLINT(google-explicit-constructor)
    // An array of `capacity` elements that `allocate` makes (null when it
    // cannot), asked for only once the stored dataset holds exactly that many.
    ArrayOut(long long capacity, Allocate allocate)
        : capacity_(capacity), allocate_(std::move(allocate)) {}

    bool wanted() const { return buf_ || allocate_; }
    // An array the reader allocates, of the caller's size; else the
    // caller's array, of the size the record's counts announce.
    bool allocates() const { return static_cast<bool>(allocate_); }
    long long capacity(long long announced) const { return allocates() ? capacity_ : announced; }
    void *buffer() const { return allocate_ ? allocate_() : buf_; }

private:
    void *buf_ = nullptr;
    long long capacity_ = 0;
    Allocate allocate_;
};

// Element types of stored arrays, read as native int, float or signed char.
enum class Elem { Int, Float, Char };

// Length the record announces for an array: the product of its int
// attributes `counts` and `width`. False when a count is missing (reported
// by the attribute reader); *n = -1 when the product is no length.
bool announced_length(hid_t record, std::initializer_list<const char *> counts, long long width,
                      long long *n);

// Reads dataset `name` of `record` into `out`. `announced` is the length the
// record gives it (-1: none). Refused with "Error reading dataset: <name>"
// when it holds more than the out's capacity, when `exact` and it does not
// hold the announced length, and for an out that allocates unless it is
// stored and fills the capacity exactly. 0, or -1 after the message (a
// failed allocation: -1 without one, the allocator reports it).
int read_array(hid_t record, const char *name, Elem type, long long announced, bool exact,
               const ArrayOut &out);

// Reads dataset `name`, whose length is the product of `counts`, exactly:
// announced_length, then read_array. 0 or -1, like the storage helpers.
int read_counted(hid_t record, std::initializer_list<const char *> counts, const char *name,
                 Elem type, const ArrayOut &out);

// Writes the caller's array of `n` elements as dataset `name`. n == 0
// writes nothing and succeeds: no dataset of 0 elements is ever stored. A
// length that is no length (array_length's -1, any negative n, or one above
// INT_MAX) is refused with "Error creating dataspace for dataset: <name>";
// a null array for n > 0 with "Error writing dataset: <name>", rather than
// handed to HDF5. 0 or -1, like the storage helpers.
int write_counted_int(const scnapi_handle *h, hid_t record, const char *name, long long n,
                      const int *data);
int write_counted_flt(const scnapi_handle *h, hid_t record, const char *name, long long n,
                      const float *data);
int write_counted_str(hid_t record, const char *name, long long n, const char *data);

}  // namespace scnapi
