// Attribute dictionaries: all tagged attributes of a viewport or a render
// attribute record, keyed by tag name, each value converted by its tag.
#include <algorithm>
#include <unordered_map>
#include <vector>

#include "convert.h"
#include "methods.h"
#include "vocab.h"

namespace {

// Owner kinds of the attribute store.
constexpr int kRendAttrOwner = 2;
constexpr int kVportOwner = 3;

enum class Rule { Bool, Int, Enum, Float, Floats, Text, Instances, None };

// How the values of a group of tags become one Python value.
struct TagRule {
    Rule rule;
    int count;                // floats of a Floats array, bytes of a Text field
    std::vector<int> legal;   // values an Enum may take
    std::vector<int> tags;
};

const std::vector<TagRule> &tag_rules() {
    static const std::vector<TagRule> rules = {
        {Rule::Bool, 1, {},
         {OXR_RENDATTR_ISVISIBLE, OXR_RENDATTR_USEAUXCLIP, OXR_RENDATTR_SHOWNODEIDS,
          OXR_RENDATTR_SHOWELEMENTIDS, OXR_RENDATTR_ISHIDDENLINE, OXR_RENDATTR_SHOWCOORDS,
          OXR_RENDATTR_FILL2D, OXR_RENDATTR_VECTORTIPFIXEDSIZE, OXR_RENDATTR_ANIMATEDTRACES,
          OXR_RENDATTR_DRAWTRACES, OXR_RENDATTR_TRACERMULTPULSE, OXR_RENDATTR_TRACERCOLORBY1D,
          OXR_VPORT_ISVISIBLE, OXR_VPORT_ISHIDDENLINE, OXR_VPORT_IS2D, OXR_VPORT_FILL2D,
          OXR_VPORT_AXISVISIBLE, OXR_VPORT_AXISLABELS, OXR_VPORT_AXISARROWS,
          OXR_VPORT_BOUNDSVISIBLE, OXR_VPORT_BOUNDSXAXISVISIBLE, OXR_VPORT_BOUNDSYAXISVISIBLE,
          OXR_VPORT_BOUNDSZAXISVISIBLE, OXR_VPORT_BOUNDSGRIDFIXED, OXR_VPORT_BOUNDSXLABELS,
          OXR_VPORT_BOUNDSYLABELS, OXR_VPORT_BOUNDSZLABELS}},
        {Rule::Int, 1, {},
         {OXR_RENDATTR_DISPLACEBYVARID, OXR_RENDATTR_NODESPHEREDETAIL,
          OXR_RENDATTR_SCALENODEBYVARID, OXR_RENDATTR_COLORBYVAR, OXR_RENDATTR_ALPHABYVAR,
          OXR_RENDATTR_VECTORVAR, OXR_RENDATTR_TRACERTIMEVAR, OXR_RENDATTR_NUMINSTANCE,
          OXR_VPORT_AXISFONTSTYLE, OXR_VPORT_NUMLIGHTS, OXR_VPORT_BACKGROUNDNUMCOL,
          OXR_VPORT_LIGHTSCREENCOORDS, OXR_VPORT_BOUNDSFONTSTYLE, OXR_VPORT_BOUNDSAXISWIDTH,
          OXR_VPORT_BOUNDSGRIDWIDTH, OXR_VPORT_BOUNDSXGRIDNUM, OXR_VPORT_BOUNDSYGRIDNUM,
          OXR_VPORT_BOUNDSZGRIDNUM, OXR_VPORT_BOUNDSSUBGRIDWIDTH, OXR_VPORT_BOUNDSXSUBGRIDNUM,
          OXR_VPORT_BOUNDSYSUBGRIDNUM, OXR_VPORT_BOUNDSZSUBGRIDNUM}},
        {Rule::Float, 1, {},
         {OXR_RENDATTR_SHRINKFACTOR1D2D, OXR_RENDATTR_DISPLACEMENTSCALE,
          OXR_RENDATTR_NODESCALESCREEN, OXR_RENDATTR_NODESCALEGEOM, OXR_RENDATTR_LINEWIDTH,
          OXR_RENDATTR_FILLRATIO, OXR_RENDATTR_DIFFUSELIGHT, OXR_RENDATTR_SHININESS,
          OXR_RENDATTR_HIGHLIGHTINTENSITY, OXR_RENDATTR_VECTORTIPSCALE,
          OXR_RENDATTR_VECTORTIPANGLE, OXR_RENDATTR_TRACERCURTIME, OXR_RENDATTR_TRACERTIME,
          OXR_RENDATTR_TRACERDELTA, OXR_RENDATTR_TRACERINTERVAL, OXR_RENDATTR_TRACERWIDTH,
          OXR_VPORT_AXISSCALE, OXR_VPORT_ZNEAR, OXR_VPORT_ZFAR, OXR_VPORT_PERANG,
          OXR_VPORT_WIDTH, OXR_VPORT_HEIGHT, OXR_VPORT_BOUNDSWIDTH, OXR_VPORT_BOUNDSHEIGHT,
          OXR_VPORT_BOUNDSXLABELSCALE, OXR_VPORT_BOUNDSYLABELSCALE,
          OXR_VPORT_BOUNDSZLABELSCALE}},
        {Rule::Floats, 2, {}, {OXR_VPORT_AXISPOS, OXR_VPORT_POSITION, OXR_VPORT_BOUNDSMIN}},
        {Rule::Floats, 3, {},
         {OXR_RENDATTR_TRACERRGB, OXR_VPORT_LOOKAT, OXR_VPORT_LOOKFROM, OXR_VPORT_UPDIR,
          OXR_VPORT_TRANSCENTER}},
        {Rule::Floats, 4, {},
         {OXR_RENDATTR_RGBA0D, OXR_RENDATTR_RGBA0DVEC, OXR_RENDATTR_RGBA1D,
          OXR_RENDATTR_RGBA1D0, OXR_RENDATTR_RGBA2D, OXR_RENDATTR_RGBA2D1,
          OXR_RENDATTR_RGBA2D0, OXR_VPORT_AXISRGBA, OXR_VPORT_BORDERRGBA,
          OXR_VPORT_BOUNDSAXISRGBA, OXR_VPORT_BOUNDSGRIDRGBA, OXR_VPORT_BOUNDSSUBGRIDRGBA,
          OXR_VPORT_BOUNDSXLABELRGBA, OXR_VPORT_BOUNDSYLABELRGBA, OXR_VPORT_BOUNDSZLABELRGBA,
          OXR_VPORT_BACKGROUNDPOS}},
        {Rule::Floats, 8, {},
         {OXR_VPORT_LIGHTDIFF, OXR_VPORT_LIGHTSPEC, OXR_VPORT_LIGHTAMB, OXR_VPORT_LIGHTPOS}},
        // 4 x 4 matrices stay flat.
        {Rule::Floats, 16, {},
         {OXR_VPORT_ROTMAT, OXR_VPORT_TRANSMAT, OXR_VPORT_SCALMAT,
          OXR_VPORT_BACKGROUNDCOLORS}},
        {Rule::Text, OXR_MAX_FORMAT_STR, {},
         {OXR_VPORT_BOUNDSXLABELFORMAT, OXR_VPORT_BOUNDSYLABELFORMAT,
          OXR_VPORT_BOUNDSZLABELFORMAT}},
        {Rule::Text, OXR_FONT_MAX_NAME, {},
         {OXR_VPORT_AXISFONTFAMILY, OXR_VPORT_BOUNDS_FONTFAMILY}},
        {Rule::Instances, 16, {}, {OXR_RENDATTR_INSTANCE}},
        {Rule::Enum, 1,
         {OXR_REP_NONE, OXR_REP_BOX, OXR_REP_POINTS, OXR_REP_SPARSE_POINTS,
          OXR_REP_SPARSE_ELEMENTS, OXR_REP_FULL},
         {OXR_RENDATTR_ELEMENTREP}},
        // Single mirror planes only, not their combinations.
        {Rule::Enum, 1,
         {OXR_MIRROR_NONE, OXR_MIRROR_ORIG, OXR_MIRROR_X, OXR_MIRROR_Y, OXR_MIRROR_Z,
          OXR_MIRROR_XY, OXR_MIRROR_XZ, OXR_MIRROR_YZ, OXR_MIRROR_XYZ},
         {OXR_RENDATTR_MIRRORAXES}},
        {Rule::Enum, 1, {OXR_SHOW_NONE, OXR_SHOW_VEC, OXR_SHOW_0D, OXR_SHOW_1D, OXR_SHOW_2D},
         {OXR_RENDATTR_SHOW0D, OXR_RENDATTR_SHOW1D, OXR_RENDATTR_SHOW2D}},
        {Rule::Enum, 1, {OXR_SHADE_NONE, OXR_SHADE_FLAT, OXR_SHADE_GOURAUD},
         {OXR_RENDATTR_SHADETYPE0D, OXR_RENDATTR_SHADETYPE1D, OXR_RENDATTR_SHADETYPE1D0,
          OXR_RENDATTR_SHADETYPE2D, OXR_RENDATTR_SHADETYPE2D1, OXR_RENDATTR_SHADETYPE2D0}},
        {Rule::Enum, 1, {OXR_COLORBY_CONST, OXR_COLORBY_VAR},
         {OXR_RENDATTR_COLORBY0D, OXR_RENDATTR_COLORBY0DVEC, OXR_RENDATTR_COLORBY1D,
          OXR_RENDATTR_COLORBY1D0, OXR_RENDATTR_COLORBY2D, OXR_RENDATTR_COLORBY2D1,
          OXR_RENDATTR_COLORBY2D0}},
        // The drawable node shapes; the bitmap and solid shapes are not.
        {Rule::Enum, 1,
         {OXR_NREP_POINT, OXR_NREP_CIRCLE, OXR_NREP_SPHERE, OXR_NREP_CROSS2, OXR_NREP_CROSS3,
          OXR_NREP_X, OXR_NREP_TRI, OXR_NREP_SQUARE},
         {OXR_RENDATTR_NODEREP}},
        {Rule::Enum, 1, {OXR_SCALE_SCREEN, OXR_SCALE_GEOM}, {OXR_RENDATTR_NODESCALESPACE}},
        {Rule::Enum, 1, {OXR_LREP_NONE, OXR_LREP_SOLID, OXR_LREP_DASH, OXR_LREP_DASH_DOT, OXR_LREP_DOT},
         {OXR_RENDATTR_LINEREP, OXR_VPORT_BOUNDSXGRIDSTYLE, OXR_VPORT_BOUNDSYGRIDSTYLE,
          OXR_VPORT_BOUNDSZGRIDSTYLE, OXR_VPORT_BOUNDSXSUBGRIDSTYLE,
          OXR_VPORT_BOUNDSYSUBGRIDSTYLE, OXR_VPORT_BOUNDSZSUBGRIDSTYLE}},
        {Rule::Enum, 1, {OXR_VECTOR_TIP_NONE, OXR_VECTOR_TIP_NORMAL, OXR_VECTOR_TIP_TRI},
         {OXR_RENDATTR_VECTORTIPSTYLE}},
        // Projections and grid types share the values 10, 20 and 30.
        {Rule::Enum, 1, {OXR_PROJ_IDENT, OXR_PROJ_ORTHO, OXR_PROJ_PERSP},
         {OXR_VPORT_PROJTYPE, OXR_VPORT_BOUNDSXGRIDTYPE, OXR_VPORT_BOUNDSYGRIDTYPE,
          OXR_VPORT_BOUNDSZGRIDTYPE, OXR_VPORT_BOUNDSXSUBGRIDTYPE, OXR_VPORT_BOUNDSYSUBGRIDTYPE,
          OXR_VPORT_BOUNDSZSUBGRIDTYPE}},
        {Rule::Enum, 1, {OXR_VPFILL_NONE, OXR_VPFILL_SOLID, OXR_VPFILL_BLEND, OXR_VPFILL_INHERIT},
         {OXR_VPORT_BACKGROUNDFILLTYPE}},
        {Rule::Enum, 1, {OXR_TRANS_LINEAR, OXR_TRANS_LOG},
         {OXR_VPORT_XTRANSFORM, OXR_VPORT_YTRANSFORM, OXR_VPORT_ZTRANSFORM}},
        // Not converted: listed for the record; every tag without a rule
        // gets the same treatment.
        {Rule::None, 0, {},
         {OXR_RENDATTR_CULLFACE2D, OXR_RENDATTR_CULLFACE2D1, OXR_RENDATTR_CULLFACE2D0,
          OXR_RENDATTR_TRACERNUMTIPS, OXR_RENDATTR_DRAWTRACETIPS, OXR_RENDATTR_SHOW1DQUAD,
          OXR_RENDATTR_SHOWVARLABELS, OXR_RENDATTR_VARLABELSPACING, OXR_RENDATTR_LABELVAR,
          OXR_RENDATTR_VARLABELFORMAT, OXR_RENDATTR_DETAIL, OXR_RENDATTR_FONTSTYLE,
          OXR_RENDATTR_FONTFAMILY, OXR_RENDATTR_FONT, OXR_RENDATTR_TEXTRGB,
          OXR_RENDATTR_TEXTXALIGN, OXR_RENDATTR_TEXTYALIGN, OXR_RENDATTR_NODEBITMAP,
          OXR_RENDATTR_VECTORSCALE, OXR_RENDATTR_LINEPATTERN, OXR_RENDATTR_FONTSCALE,
          OXR_RENDATTR_TEXTOCCLUSION, OXR_RENDATTR_TEXTSCALEWIN, OXR_VPORT_BORDERVISIBLE,
          OXR_VPORT_BOUNDSAXISCULLING, OXR_VPORT_AXISLABELSCALE}},
    };
    return rules;
}

const TagRule &rule_of(int tag) {
    static const TagRule not_converted{Rule::None, 0, {}, {}};
    static const std::unordered_map<int, const TagRule *> by_tag = [] {
        std::unordered_map<int, const TagRule *> map;
        for (const TagRule &r : tag_rules())
            for (int t : r.tags) map.emplace(t, &r);
        return map;
    }();
    auto it = by_tag.find(tag);
    return it == by_tag.end() ? not_converted : *it->second;
}

// One record's attributes as the store serves them.
struct AttrRecord {
    scnapi_handle *h;
    int kind, index;
    std::vector<int> tags;

    // Reads attribute `ordinal` into `values`; the library copies the
    // count its classification gives for the tag, which each rule's buffer
    // holds.
    bool read(int ordinal, void *values) const {
        return values && scn_read_attr(h, kind, index, ordinal, values) == 0;
    }
    // The same into an array the reader allocates.
    int read_into(int ordinal, const scnapi::ArrayOut &out) const {
        return read(ordinal, out.buffer()) ? 0 : 1;
    }
    // The ordinal of the first or last attribute with `tag`, or -1.
    int find(int tag, bool last) const {
        auto n = static_cast<int>(tags.size());
        for (int i = 0; i < n; ++i) {
            int at = last ? n - 1 - i : i;
            if (tags[at] == tag) return at;
        }
        return -1;
    }
};

// Result of converting one attribute.
struct Converted {
    PyObject *value;  // new reference; null: left out (or error, see failed)
    bool failed;      // an exception is set
};

Converted keep(PyObject *value) { return {value, value == nullptr}; }
Converted left_out() { return {nullptr, false}; }
Converted none() {
    Py_INCREF(Py_None);
    return {Py_None, false};
}

// The instance matrices, shaped (N, 4, 4) with N the record's last
// instance count. The library serves the count its classification gives,
// from the first instance count, which a well-formed record has only once:
// a record whose counts disagree is left out rather than read past the
// array, or an array allocated beyond what the library serves.
Converted instances(const AttrRecord &rec, int ordinal) {
    int last = rec.find(OXR_RENDATTR_NUMINSTANCE, true);
    int n = 0;
    if (last < 0 || scn_read_attr(rec.h, kRendAttrOwner, rec.index, last, &n) != 0) {
        oxm_library_error("Failed to read numinstances");
        return {nullptr, true};
    }
    if (n < 0) return none();
    int served = 0;
    if (attr_classify(rec.h, kRendAttrOwner, OXR_RENDATTR_INSTANCE, nullptr, &served) != 0 ||
        served != 16LL * n)
        return left_out();
    PyRef array;
    switch (fill_array(array, NPY_FLOAT, {n, 4, 4}, [&](const scnapi::ArrayOut &out) {
        return rec.read_into(ordinal, out);
    })) {
        case Fill::Ok:
            return keep(array.release());
        case Fill::NoMemory:
            return {nullptr, true};
        case Fill::BadCount:  // more instances than any record can hold
            return none();
        case Fill::ReadFailed:
            break;
    }
    return left_out();
}

Converted convert(const AttrRecord &rec, int ordinal) {
    const TagRule &r = rule_of(rec.tags[ordinal]);
    // Scratch for the single values: room for the longest fixed-size value
    // of any tag.
    union {
        int i;
        float f;
        char text[64];
    } v{};
    switch (r.rule) {
        case Rule::None:
            return none();
        case Rule::Instances:
            return instances(rec, ordinal);
        case Rule::Floats: {
            PyRef array;
            Fill outcome = fill_array(array, NPY_FLOAT, {r.count}, [&](const scnapi::ArrayOut &out) {
                return rec.read_into(ordinal, out);
            });
            if (outcome == Fill::NoMemory) return {nullptr, true};
            return outcome == Fill::Ok ? keep(array.release()) : left_out();
        }
        default:
            break;
    }
    if (!rec.read(ordinal, &v)) return left_out();
    switch (r.rule) {
        case Rule::Bool:
            return keep(flag_value(v.i));
        case Rule::Int:
            return keep(int_value(v.i));
        case Rule::Enum:
            if (std::find(r.legal.begin(), r.legal.end(), v.i) == r.legal.end()) return none();
            return keep(int_value(v.i));
        case Rule::Float:
            return keep(PyFloat_FromDouble(v.f));
        case Rule::Text:
            return keep(text_value(v.text, static_cast<std::size_t>(r.count)));
        default:
            return none();
    }
}

// The attributes of record `index` of owner `kind` as a dictionary keyed
// by tag name; a later attribute replaces an earlier one of the same name.
PyObject *generic_attrs(PyObject *self, PyObject *args, int kind) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int n = scn_read_num_attributes(h, kind, index);
    if (n < 0 || n > OXR_MAX_ATTRTAGS)
        return oxm_library_error("Could not get number of vport attributes");
    if (n == 0) return PyDict_New();
    AttrRecord rec{h, kind, index, std::vector<int>(static_cast<std::size_t>(n))};
    if (scn_read_attribute_ids(h, kind, index, rec.tags.data()) != 0)
        return oxm_library_error("Can't read attribute id info");
    PyRef dict(PyDict_New());
    if (!dict) return nullptr;
    for (int i = 0; i < n; ++i) {
        Converted c = convert(rec, i);
        if (c.failed) return nullptr;
        if (c.value && dict_put(dict.get(), vocab::enum_name(rec.tags[i]), c.value) < 0)
            return nullptr;
    }
    std::fflush(stdout);
    return dict.release();
}

}  // namespace

PyObject *oxm_vportAttrs(PyObject *self, PyObject *args) {
    return generic_attrs(self, args, kVportOwner);
}

PyObject *oxm_rendAttrs(PyObject *self, PyObject *args) {
    return generic_attrs(self, args, kRendAttrOwner);
}
