// Variables: name, centering, kind, value range and colour palette of each
// quantity whose values the node sets and element records carry.
#include <cstdio>
#include <cstring>

#include "bulk_readers.h"
#include "collection.h"
#include "counted_io.h"
#include "geometry.h"
#include "scnapi/scnapi.h"
#include "storage.h"

using namespace scnapi;

namespace {

constexpr int kNameSize = OXR_VAR_NAME_SIZE;  // varName, paletteName
constexpr int kDescSize = OXR_VAR_DESC_SIZE;  // varDesc
constexpr int kPaletteNameOut = 32;           // caller's paletteName buffer

std::string var_path(int index) { return format_path("/top/Vars/var_%d", index); }

bool is_vector_kind(int kind) {
    return kind == OXR_VAR_VECTOR || kind == OXR_VAR_NORMALIZED_VECTOR ||
           kind == OXR_VAR_COMPLEX_VECTOR;
}

bool is_scalar_kind(int kind) { return kind == OXR_VAR_SCALAR || kind == OXR_VAR_COMPLEX_SCALAR; }

// Floats in "extents" for a kind: both ends of each component.
int extents_length(int kind) { return is_vector_kind(kind) ? 6 : is_scalar_kind(kind) ? 2 : 0; }

// The palette's channels, in storing order.
struct Channel {
    const char *count, *cntl, *cols;
};
constexpr Channel kChannels[OXR_PALETTE_MAX_CHANNELS] = {
    {"nRedOrHue", "redOrHueCntl", "redOrHueCols"},
    {"nGrnOrSat", "grnOrSatCntl", "grnOrSatCols"},
    {"nBluOrVal", "bluOrValCntl", "bluOrValCols"},
    {"nAlpha", "alphaCntl", "alphaCols"},
};

}  // namespace

namespace scnapi {

int component_count(int kind) {
    switch (kind) {
        case OXR_VAR_SCALAR: return 1;
        case OXR_VAR_VECTOR:
        case OXR_VAR_NORMALIZED_VECTOR: return 3;
        case OXR_VAR_COMPLEX_SCALAR: return 2;
        case OXR_VAR_COMPLEX_VECTOR: return 6;
        default: return 0;
    }
}

int variable_component_count(const scnapi_handle *h, int var_index, bool quiet) {
    int kind = 0;
    if (quiet) {
        H5Id var = open_group(h ? h->fileId : -1, var_path(var_index));
        return var && read_att_int(var.get(), "varKind", &kind, 1) == 0 ? component_count(kind) : 0;
    }
    int status = read_record(h, var_path(var_index), "scn_read_var_info",
                             "scn_read_var_info: error closing var group",
                             [&](hid_t var) { return read_att_int(var, "varKind", &kind, 0) < 0; });
    return status == 0 ? component_count(kind) : 0;
}

int read_var_palette_colors(scnapi_handle *h, int varIndex,
                            const ArrayOut (&arrays)[kPaletteArrays]) {
    return read_record(h, var_path(varIndex), "scn_read_var_palette_colors",
                       "scn_read_var_palette_colors: error closing var group", [&](hid_t var) {
        int failed = 0;
        for (int c = 0; c < OXR_PALETTE_MAX_CHANNELS; ++c) {
            const Channel &ch = kChannels[c];
            int count = 0;
            if (read_att_int(var, ch.count, &count, 0) < 0) {
                failed = 1;
                continue;
            }
            // A channel without a positive count has no arrays to read; the
            // count also sizes what its arrays hold.
            if (count <= 0) continue;
            failed |= read_array(var, ch.cntl, Elem::Float, count, true, arrays[2 * c]) < 0;
            failed |= read_array(var, ch.cols, Elem::Float, count, true, arrays[2 * c + 1]) < 0;
        }
        return failed;
    });
}

}  // namespace scnapi

extern "C" {

int scn_write_var(scnapi_handle *h, int varIndex, const char *varName, const char *varDesc,
                  int varCentering, int varKind, int extentsProvided, int paletteProvided,
                  const float *minimum, const float *maximum) {
    const char *entry = "scn_write_var";
    return write_record(h, collection(entry, "Vars", "nVars", "var"), varIndex, [&](hid_t var) {
        int failed = 0;
        failed |= write_att_str(var, "varName", kNameSize, FixedText<kNameSize>(varName).text) < 0;
        failed |= write_att_str(var, "varDesc", kDescSize, FixedText<kDescSize>(varDesc).text) < 0;
        failed |= write_att_int(var, "varCentering", varCentering) < 0;
        failed |= write_att_int(var, "varKind", varKind) < 0;
        failed |= write_att_int(var, "extentsProvided", extentsProvided) < 0;
        if (extentsProvided) {
            // Vectors keep the three component minima then the three maxima;
            // scalars one of each; other kinds an empty "extents".
            float extents[6] = {};
            int width = is_vector_kind(varKind) ? 3 : 1;
            int length = extents_length(varKind);
            if (length && minimum) std::memcpy(extents, minimum, width * sizeof(float));
            if (length && maximum) std::memcpy(extents + width, maximum, width * sizeof(float));
            failed |= write_dataset_flt(h, var, "extents", length, extents) < 0;
        }
        failed |= write_att_int(var, "paletteProvided", paletteProvided) < 0;
        return failed;
    });
}

int scn_write_var_palette(scnapi_handle *h, int varIndex, const char *paletteName,
                          int paletteInterp, int colorSpace, float palMinVal, float palMaxVal,
                          int nSamples, int nRedOrHue, int nGrnOrSat, int nBluOrVal, int nAlpha,
                          const float *redOrHueCntl, const float *redOrHueCols,
                          const float *grnOrSatCntl, const float *grnOrSatCols,
                          const float *bluOrValCntl, const float *bluOrValCols,
                          const float *alphaCntl, const float *alphaCols) {
    const char *entry = "scn_write_var_palette";
    H5Id var = open_record(h, var_path(varIndex), entry);
    if (!var) return 1;
    hid_t g = var.get();
    int failed = 0;
    if (write_att_int(g, "paletteProvided", 1) < 0) {
        std::puts("scn_write_var_palette: error setting paletteProvided flag");
        failed = 1;
    }
    failed |= write_att_str(g, "paletteName", kNameSize, FixedText<kNameSize>(paletteName).text) < 0;
    failed |= write_att_int(g, "paletteInterp", paletteInterp) < 0;
    failed |= write_att_int(g, "colorSpace", colorSpace) < 0;
    failed |= write_att_flt(g, "palMinVal", palMinVal) < 0;
    failed |= write_att_flt(g, "palMaxVal", palMaxVal) < 0;
    failed |= write_att_int(g, "nSamples", nSamples) < 0;

    const int counts[] = {nRedOrHue, nGrnOrSat, nBluOrVal, nAlpha};
    const float *cntls[] = {redOrHueCntl, grnOrSatCntl, bluOrValCntl, alphaCntl};
    const float *cols[] = {redOrHueCols, grnOrSatCols, bluOrValCols, alphaCols};
    for (int c = 0; c < OXR_PALETTE_MAX_CHANNELS; ++c) {
        // A channel's arrays are stored only under a count that was stored.
        if (write_att_int(g, kChannels[c].count, counts[c]) < 0) {
            failed = 1;
            continue;
        }
        if (counts[c] <= 0) continue;
        failed |= write_counted_flt(h, g, kChannels[c].cntl, counts[c], cntls[c]) < 0;
        failed |= write_counted_flt(h, g, kChannels[c].cols, counts[c], cols[c]) < 0;
    }
    return end_record(var, "scn_write_var_palette: error closing var_n group", failed);
}

int scn_read_var_num(scnapi_handle *h) {
    return read_count(h, "/top/Vars", "nVars", "scn_read_var_num: error closing Vars group");
}

int scn_read_var_info(scnapi_handle *h, int varIndex, char *varName, char *varDesc,
                      int *varCentering, int *varKind, int *extentsProvided,
                      int *paletteProvided) {
    return read_record(h, var_path(varIndex), "scn_read_var_info",
                       "scn_read_var_info: error closing var group", [&](hid_t var) {
                           int failed = 0;
                           if (varName) failed |= read_att_str(var, "varName", varName, kNameSize, 0) < 0;
                           if (varDesc) failed |= read_att_str(var, "varDesc", varDesc, kDescSize, 0) < 0;
                           failed |= read_int_item(var, "varCentering", varCentering);
                           failed |= read_int_item(var, "varKind", varKind);
                           failed |= read_int_item(var, "extentsProvided", extentsProvided);
                           failed |= read_int_item(var, "paletteProvided", paletteProvided);
                           return failed;
                       });
}

int scn_read_var_extents(scnapi_handle *h, int varIndex, float *minimum, float *maximum) {
    return read_record(h, var_path(varIndex), "scn_read_var_extents",
                       "scn_read_var_extents: error closing varID group", [&](hid_t var) {
        int provided = 0, kind = 0, failed = 0;
        if (read_att_int(var, "extentsProvided", &provided, 0) < 0) {
            provided = 0;
            failed = 1;
        }
        if (read_att_int(var, "varKind", &kind, 0) < 0) failed = 1;
        int length = extents_length(kind);
        if (!provided || failed || length == 0) return failed;  // outputs left as they are

        // The stored range may hold no more than the kind's length.
        float extents[6] = {};
        if (read_dataset_flt(var, "extents", extents, length) < 0) {
            std::memset(extents, 0, sizeof extents);
            failed = 1;
        }
        int width = length / 2;
        if (minimum) std::memcpy(minimum, extents, width * sizeof(float));
        if (maximum) std::memcpy(maximum, extents + width, width * sizeof(float));
        return failed;
    });
}

int scn_read_var_palette_info(scnapi_handle *h, int varIndex, char *paletteName,
                              int *paletteInterp, int *colorSpace, float *palMinVal,
                              float *palMaxVal, int *nSamples, int *nRedOrHue, int *nGrnOrSat,
                              int *nBluOrVal, int *nAlpha) {
    return read_record(h, var_path(varIndex), "scn_read_var_palette_info",
                       "scn_read_var_palette_info: error closing var group", [&](hid_t var) {
        int failed = 0;
        if (paletteName) {
            // The caller's buffer takes 31 characters and a NUL; after a failed
            // read it holds the empty name.
            char stored[kNameSize] = {};
            if (read_att_str(var, "paletteName", stored, kNameSize, 0) < 0) {
                stored[0] = '\0';
                failed = 1;
            }
            std::memset(paletteName, 0, kPaletteNameOut);
            std::memcpy(paletteName, stored, strnlen(stored, kPaletteNameOut - 1));
        }
        failed |= read_int_item(var, "paletteInterp", paletteInterp);
        failed |= read_int_item(var, "colorSpace", colorSpace);
        // A palette without a stored range reads as the empty range 1 .. -1.
        if (palMinVal && read_att_flt(var, "palMinVal", palMinVal, 1) < 0) *palMinVal = 1.0f;
        if (palMaxVal && read_att_flt(var, "palMaxVal", palMaxVal, 1) < 0) *palMaxVal = -1.0f;
        failed |= read_int_item(var, "nSamples", nSamples);
        failed |= read_int_item(var, "nRedOrHue", nRedOrHue);
        failed |= read_int_item(var, "nGrnOrSat", nGrnOrSat);
        failed |= read_int_item(var, "nBluOrVal", nBluOrVal);
        failed |= read_int_item(var, "nAlpha", nAlpha);
        return failed;
    });
}

int scn_read_var_palette_colors(scnapi_handle *h, int varIndex, float *redOrHueCntl,
                                float *redOrHueCols, float *grnOrSatCntl, float *grnOrSatCols,
                                float *bluOrValCntl, float *bluOrValCols, float *alphaCntl,
                                float *alphaCols) {
    const ArrayOut arrays[kPaletteArrays] = {redOrHueCntl, redOrHueCols, grnOrSatCntl,
                                             grnOrSatCols, bluOrValCntl, bluOrValCols,
                                             alphaCntl,    alphaCols};
    return read_var_palette_colors(h, varIndex, arrays);
}

}  // extern "C"
