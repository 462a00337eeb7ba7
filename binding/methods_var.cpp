// varInfo: a variable record with its extents and colour palette.
#include "convert.h"
#include "methods.h"
#include "scnapi/bulk_readers.h"

namespace {

// Keys of one palette channel, named for the colour space.
struct ChannelKeys {
    const char *count, *control, *colors;
};

constexpr ChannelKeys kRgbChannels[4] = {
    {"numRedValues", "redControl", "redColors"},
    {"numGreenValues", "greenControl", "greenColors"},
    {"numBlueValues", "blueControl", "blueColors"},
    {"numAlphaValues", "alphaControl", "alphaColors"},
};
constexpr ChannelKeys kHsvChannels[4] = {
    {"numHueValues", "hueControl", "hueColors"},
    {"numSatValues", "satControl", "satColors"},
    {"numValValues", "valControl", "valColors"},
    {"numAlphaValues", "alphaControl", "alphaColors"},
};

// "min" and "max": floats for the scalar kinds, arrays of 3 otherwise. A
// failed read adds neither and raises nothing. -1 with an exception set
// (only when an array cannot be allocated).
int add_extents(PyObject *dict, scnapi_handle *h, int var, int kind) {
    if (kind == OXR_VAR_SCALAR || kind == OXR_VAR_COMPLEX_SCALAR) {
        float lo = 0.0f, hi = 0.0f;
        if (scn_read_var_extents(h, var, &lo, &hi) != 0) return 0;
        return add_fields(dict, {Field::real("min", lo), Field::real("max", hi)});
    }
    Fill outcome;
    PyRef lo(new_zeroed_array(NPY_FLOAT, {3}, &outcome));
    if (!lo) return -1;
    PyRef hi(new_zeroed_array(NPY_FLOAT, {3}, &outcome));
    if (!hi) return -1;
    if (scn_read_var_extents(h, var, array_data<float>(lo.get()), array_data<float>(hi.get())) != 0)
        return 0;
    if (PyDict_SetItemString(dict, "min", lo.get()) < 0) return -1;
    return PyDict_SetItemString(dict, "max", hi.get());
}

// The palette entries. A failed palette read leaves out what depends on
// it and raises nothing. -1 with an exception set.
int add_palette(PyObject *dict, scnapi_handle *h, int var) {
    char name[32] = {};
    int interp = 0, space = 0, samples = 0;
    int counts[4] = {};
    float lo = 0.0f, hi = 0.0f;
    if (scn_read_var_palette_info(h, var, name, &interp, &space, &lo, &hi, &samples, &counts[0],
                                  &counts[1], &counts[2], &counts[3]) != 0)
        return 0;
    // Channel keys follow the colour-space value itself: RGB (10) names
    // red, green and blue, any other value hue, saturation and value.
    const ChannelKeys *keys = space == OXR_PALETTE_RGB ? kRgbChannels : kHsvChannels;
    if (add_fields(dict, {Field::text("paletteName", name),
                          Field::enumeration("interpolation", interp),
                          Field::real("paletteMin", lo), Field::real("paletteMax", hi),
                          Field::integer("numSamples", samples),
                          Field::enumeration("colorspace", space),
                          Field::integer(keys[0].count, counts[0]),
                          Field::integer(keys[1].count, counts[1]),
                          Field::integer(keys[2].count, counts[2]),
                          Field::integer(keys[3].count, counts[3])}) < 0)
        return -1;
    // Control points and colours of each channel, sized from the counts
    // just read (the same attributes the library sizes its reads by) and
    // allocated by the reader once it has found them stored. A negative
    // count is a malformed palette: its arrays are left out like those of a
    // failed read.
    constexpr int n = scnapi::kPaletteArrays;
    LazyArray arrays[n] = {{NPY_FLOAT, {counts[0]}}, {NPY_FLOAT, {counts[0]}},
                           {NPY_FLOAT, {counts[1]}}, {NPY_FLOAT, {counts[1]}},
                           {NPY_FLOAT, {counts[2]}}, {NPY_FLOAT, {counts[2]}},
                           {NPY_FLOAT, {counts[3]}}, {NPY_FLOAT, {counts[3]}}};
    for (const LazyArray &a : arrays)
        if (a.bad_count()) return 0;
    const scnapi::ArrayOut outs[n] = {arrays[0].out(), arrays[1].out(), arrays[2].out(),
                                      arrays[3].out(), arrays[4].out(), arrays[5].out(),
                                      arrays[6].out(), arrays[7].out()};
    int status = scnapi::read_var_palette_colors(h, var, outs);
    for (const LazyArray &a : arrays)
        if (a.no_memory()) return -1;
    if (status != 0) return 0;
    for (int i = 0; i < n; ++i) {
        const char *key = i % 2 == 0 ? keys[i / 2].control : keys[i / 2].colors;
        if (dict_put(dict, key, arrays[i].take()) < 0) return -1;
    }
    return 0;
}

}  // namespace

PyObject *oxm_varInfo(PyObject *self, PyObject *args) {
    int var;
    scnapi_handle *h = method_args(self, args, "i", &var);
    if (!h) return nullptr;
    char name[OXR_VAR_NAME_SIZE] = {}, desc[OXR_VAR_DESC_SIZE] = {};
    int centering = 0, kind = 0, extents = 0, palette = 0;
    if (scn_read_var_info(h, var, name, desc, &centering, &kind, &extents, &palette) != 0)
        return oxm_library_error("Can't read var info");
    PyRef dict(make_dict({Field::text("varName", name), Field::text("varDesc", desc),
                          Field::enumeration("centering", centering),
                          Field::enumeration("kind", kind),
                          Field::flag("extentsExist", extents)}));
    if (!dict) return nullptr;
    if (extents == 1 && add_extents(dict.get(), h, var, kind) < 0) return nullptr;
    if (dict_put(dict.get(), "paletteExist", flag_value(palette)) < 0) return nullptr;
    if (palette == 1 && add_palette(dict.get(), h, var) < 0) return nullptr;
    std::fflush(stdout);
    return dict.release();
}
