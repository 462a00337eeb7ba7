// Annotations, images, queries and notes: what is drawn over or beside the
// model.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "collection.h"
#include "counted_io.h"
#include "groups.h"
#include "images.h"
#include "scnapi/scnapi.h"
#include "state.h"
#include "storage.h"

using namespace scnapi;

namespace {

constexpr hsize_t kTextLen = SCNAPI_NAME_LEN;  // stored width of query texts
constexpr int kOldNoteLen = 256;                // note length in files before 1.03

// Families whose records carry tagged attributes start them at "numAttrs" = 0.
Collection family_with_attrs(const char *entry, const char *group, const char *counter,
                             const char *record) {
    Collection c = collection(entry, group, counter, record);
    c.on_create = init_num_attrs;
    return c;
}

// Reads items of record `index` of a family with `read_items`, under the
// reader convention with the entry's own messages.
template <class ReadItems>
int read_item(const scnapi_handle *h, const char *entry, const char *path_format,
              const char *word, int index, ReadItems &&read_items) {
    std::string close = closing_message(entry, word);
    return read_record(h, format_path(path_format, index), entry, close.c_str(), read_items);
}

// The note text as an attribute of exactly `len` bytes; a missing text is
// stored as zero bytes. An empty note has no text attribute at all (string
// attributes have at least one element).
int write_note_text(hid_t record, int len, const char *text) {
    if (len < 0) {
        std::printf("Error writing attribute: %s\n", "noteText");
        return 1;
    }
    if (len == 0) return 0;
    std::vector<char> zeros;
    if (!text) {
        zeros.assign(static_cast<size_t>(len), '\0');
        text = zeros.data();
    }
    return write_att_str(record, "noteText", static_cast<hsize_t>(len), text) < 0 ? 1 : 0;
}

// The index a note written with a negative index gets: the counter of the
// collection (0 before the first note). False after reporting an
// unreadable counter.
bool next_note_index(const scnapi_handle *h, int *index) {
    H5Id notes = open_group(h ? h->fileId : -1, "/top/Notes");
    if (!notes) {
        *index = 0;
        return true;
    }
    if (read_att_int(notes.get(), "nNotes", index, 0) < 0) {
        std::puts("scn_write_note: error reading existing nNotes");
        return false;
    }
    return true;
}

// Copies a stored query text (256 bytes) into the caller's 64-byte buffer.
int read_query_text(hid_t record, const char *name, char *out) {
    if (!out) return 0;
    char text[kTextLen] = {};
    if (read_att_str(record, name, text, kTextLen, 0) < 0) return 1;
    std::memcpy(out, text, OXR_QUERY_MAX_STRING);
    return 0;
}

}  // namespace

namespace scnapi {

long long bytes_per_pixel(int format) {
    switch (format) {
        case OXR_IMG_FMT_A:
        case OXR_IMG_FMT_L: return 1;
        case OXR_IMG_FMT_LA: return 2;
        case OXR_IMG_FMT_RGB: return 3;
        case OXR_IMG_FMT_RGBA: return 4;
        default: return 0;
    }
}

}  // namespace scnapi

extern "C" {

// ---- writers -----------------------------------------------------------------

int scn_write_annot(scnapi_handle *h, int index, int annotType, int numQueries,
                    int monoImageIndex, int stereoImageIndex, const int *queryIndices) {
    Collection c = family_with_attrs("scn_write_annot", "Annots", "nAnnots", "annot");
    return write_record(h, c, index, [&](hid_t record) {
        int status = write_att_int(record, "annotType", annotType) < 0;
        status |= write_att_int(record, "nQueries", numQueries) < 0;
        status |= write_counted_int(h, record, "queryIndices", numQueries, queryIndices) < 0;
        status |= write_att_int(record, "monoImageIndex", monoImageIndex) < 0;
        status |= write_att_int(record, "stereoImageIndex", stereoImageIndex) < 0;
        return status;
    });
}

int scn_write_image(scnapi_handle *h, int index, int width, int height, int pixelFormat,
                    int hasDepth, const char *pixels, const float *depth) {
    Collection c = family_with_attrs("scn_write_image", "Images", "nImages", "image");
    c.msg.close_group = "scn_write_images: error closing Images group";
    return write_record(h, c, index, [&](hid_t record) {
        int status = write_att_int(record, "width", width) < 0;
        status |= write_att_int(record, "height", height) < 0;
        status |= write_att_int(record, "pixelFormat", pixelFormat) < 0;
        status |= write_att_int(record, "hasDepth", hasDepth) < 0;
        long long area = array_length(width, height);
        long long per_pixel = bytes_per_pixel(pixelFormat);
        if (per_pixel != 0)
            status |= write_counted_str(record, "pixels", array_length(area, per_pixel), pixels) < 0;
        if (hasDepth) status |= write_counted_flt(h, record, "depth", area, depth) < 0;
        return status;
    });
}

int scn_write_query(scnapi_handle *h, int index, const char *queryName, const char *xAxisLabel,
                    const char *yAxisLabel, int partIndex) {
    Collection c = collection("scn_write_query", "Queries", "nQueries", "query");
    return write_record(h, c, index, [&](hid_t record) {
        int status = write_att_str(record, "queryName", kTextLen, NameText(queryName).text) < 0;
        status |= write_att_str(record, "xAxisLabel", kTextLen, NameText(xAxisLabel).text) < 0;
        status |= write_att_str(record, "yAxisLabel", kTextLen, NameText(yAxisLabel).text) < 0;
        status |= write_att_int(record, "partIndex", partIndex) < 0;
        return status;
    });
}

int scn_write_note(scnapi_handle *h, int index, int noteLen, const char *noteText) {
    // An unreadable counter leaves nothing to number the note with: nothing
    // is written.
    if (index < 0 && !next_note_index(h, &index)) return 1;
    Collection c = family_with_attrs("scn_write_note", "Notes", "nNotes", "note");
    return write_record(h, c, index, [&](hid_t record) {
        int status = write_att_int(record, "noteLen", noteLen) < 0;
        status |= write_note_text(record, noteLen, noteText);
        return status;
    });
}

// ---- counts ------------------------------------------------------------------

int scn_read_annot_num(scnapi_handle *h) {
    return read_count(h, "/top/Annots", "nAnnots", "scn_read_annot_num: error closing Annots group");
}

int scn_read_image_num(scnapi_handle *h) {
    return read_count(h, "/top/Images", "nImages", "scn_read_image_num: error closing Images group");
}

int scn_read_query_num(scnapi_handle *h) {
    return read_count(h, "/top/Queries", "nQueries",
                      "scn_read_query_num: error closing Queries group");
}

int scn_read_note_num(scnapi_handle *h) {
    return read_count(h, "/top/Notes", "nNotes", "scn_read_note_num: error closing Notes group");
}

// ---- records -----------------------------------------------------------------

int scn_read_annot_info(scnapi_handle *h, int index, int *annotType, int *numQueries,
                        int *monoImageIndex, int *stereoImageIndex) {
    return read_item(h, "scn_read_annot_info", "/top/Annots/annot_%d", "annot", index,
                     [&](hid_t record) {
                         int status = read_int_item(record, "annotType", annotType);
                         status |= read_int_item(record, "nQueries", numQueries);
                         status |= read_int_item(record, "monoImageIndex", monoImageIndex);
                         status |= read_int_item(record, "stereoImageIndex", stereoImageIndex);
                         return status;
                     });
}

int scn_read_annot_indices(scnapi_handle *h, int index, int *queryIndices) {
    return read_item(h, "scn_read_annot_indices", "/top/Annots/annot_%d", "annot", index,
                     [&](hid_t record) {
                         return read_counted(record, {"nQueries"}, "queryIndices", Elem::Int,
                                             queryIndices) < 0 ? 1 : 0;
                     });
}

int scn_read_image_info(scnapi_handle *h, int index, int *width, int *height, int *pixelFormat,
                        int *hasDepth) {
    return read_item(h, "scn_read_image_info", "/top/Images/image_%d", "image", index,
                     [&](hid_t record) {
                         int status = read_int_item(record, "width", width);
                         status |= read_int_item(record, "height", height);
                         status |= read_int_item(record, "pixelFormat", pixelFormat);
                         status |= read_int_item(record, "hasDepth", hasDepth);
                         return status;
                     });
}

int scn_read_image_pixels(scnapi_handle *h, int index, char *pixels) {
    return read_item(h, "scn_read_image_pixels", "/top/Images/image_%d", "image", index,
                     [&](hid_t record) {
                         if (!pixels) return 0;
                         int format = 0;
                         long long n = 0;
                         if (read_att_int(record, "pixelFormat", &format, 0) < 0 ||
                             !announced_length(record, {"width", "height"},
                                               bytes_per_pixel(format), &n))
                             return 1;
                         return read_array(record, "pixels", Elem::Char, n, true, pixels) < 0 ? 1 : 0;
                     });
}

int scn_read_image_depth(scnapi_handle *h, int index, float *depth) {
    return read_item(h, "scn_read_image_depth", "/top/Images/image_%d", "image", index,
                     [&](hid_t record) {
                         return read_counted(record, {"width", "height"}, "depth", Elem::Float,
                                             depth) < 0 ? 1 : 0;
                     });
}

int scn_read_query_info(scnapi_handle *h, int index, char *queryName, char *xAxisLabel,
                        char *yAxisLabel, int *partIndex) {
    return read_item(h, "scn_read_query_info", "/top/Queries/query_%d", "query", index,
                     [&](hid_t record) {
                         int status = read_query_text(record, "queryName", queryName);
                         status |= read_query_text(record, "xAxisLabel", xAxisLabel);
                         status |= read_query_text(record, "yAxisLabel", yAxisLabel);
                         status |= read_int_item(record, "partIndex", partIndex);
                         return status;
                     });
}

int scn_read_note_info(scnapi_handle *h, int index, int *noteLen) {
    // Files before 1.03 store no length: their texts fill 256 bytes.
    if (file_version_before("1.03")) {
        if (noteLen) *noteLen = kOldNoteLen;
        return 0;
    }
    return read_item(h, "scn_read_note_info", "/top/Notes/note_%d", "note", index,
                     [&](hid_t record) { return read_int_item(record, "noteLen", noteLen); });
}

// The caller's buffer holds the length scn_read_note_info reports, so no
// more than that is read.
int scn_read_note_text(scnapi_handle *h, int index, char *noteText) {
    return read_item(h, "scn_read_note_text", "/top/Notes/note_%d", "note", index,
                     [&](hid_t record) {
                         if (!noteText) return 0;
                         int len = kOldNoteLen;
                         if (!file_version_before("1.03") &&
                             read_att_int(record, "noteLen", &len, 0) < 0)
                             return 1;
                         if (len < 0) {
                             std::printf("Error reading attribute: %s\n", "noteText");
                             return 1;
                         }
                         if (len == 0) return 0;  // an empty note stores no text
                         return read_att_str(record, "noteText", noteText,
                                             static_cast<hsize_t>(len), 0) < 0 ? 1 : 0;
                     });
}

}  // extern "C"
