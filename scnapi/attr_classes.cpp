// The classification table of tagged attributes. This is the one place
// that decides which tags a record accepts and what they carry; every tag
// not listed under its owner kind is rejected (notes accept none).
#include "attr_classes.h"

#include "oxr_constants.h"

namespace scnapi {
namespace {

constexpr AttrClass range(int kind, int first, int last, AttrType type, int count) {
    return {kind, first, last, type, count, 0, 0};
}

constexpr AttrClass one(int kind, int tag, AttrType type, int count) {
    return range(kind, tag, tag, type, count);
}

constexpr AttrClass dependent(int kind, int tag, AttrType type, int count, int governor,
                              int per_governor) {
    return {kind, tag, tag, type, count, governor, per_governor};
}

constexpr AttrClass kAttrClasses[] = {
    // Parts.
    range(kPart, OXR_PART_CLIP_DOMAIN, OXR_PART_CLIP_TYPE, kAttrInt, 1),
    one(kPart, OXR_PART_IJKCLIP_AXIS, kAttrInt, 1),
    one(kPart, OXR_PART_IJKCLIP_VALUE, kAttrInt, 1),
    one(kPart, OXR_PART_XYZCLIP_AXIS, kAttrInt, 1),
    one(kPart, OXR_PART_LINECLIP_STEPS, kAttrInt, 1),
    one(kPart, OXR_PART_PLANECLIP_ISMESH, kAttrInt, 1),
    one(kPart, OXR_PART_PLANECLIP_ISFINITE, kAttrInt, 1),
    one(kPart, OXR_PART_CONTOUR_VARID, kAttrInt, 1),
    one(kPart, OXR_PART_CONTOUR_USELABELS, kAttrInt, 1),
    one(kPart, OXR_PART_CONTOUR_NUMLEVELS, kAttrInt, 1),
    one(kPart, OXR_PART_PTRACE_VARID, kAttrInt, 1),
    one(kPart, OXR_PART_PTRACE_DIRECTION, kAttrInt, 1),
    one(kPart, OXR_PART_PTRACE_MAXTIMETOGGLE, kAttrInt, 1),
    one(kPart, OXR_PART_PTRACE_HASMULTIPLEPULSES, kAttrInt, 1),
    one(kPart, OXR_PART_PTRACE_SYNCTOTRANSIENT, kAttrInt, 1),
    one(kPart, OXR_PART_PROFILE_VARID, kAttrInt, 1),
    one(kPart, OXR_PART_VECTOR_VARID, kAttrInt, 1),
    range(kPart, OXR_PART_VECTOR_LOCATION, OXR_PART_VECTOR_COMP, kAttrInt, 1),
    one(kPart, OXR_PART_VECTOR_ISRECTILINEAR, kAttrInt, 1),
    one(kPart, OXR_PART_VECTOR_TIPISFIXEDSIZE, kAttrInt, 1),
    one(kPart, OXR_PART_VECTOR_TIPSTYLE, kAttrInt, 1),
    one(kPart, OXR_PART_ELEVATED_VARID, kAttrInt, 1),
    one(kPart, OXR_PART_ELEVATED_DRAWSURFACE, kAttrInt, 1),
    one(kPart, OXR_PART_ELEVATED_DRAWSIDES, kAttrInt, 1),
    one(kPart, OXR_PART_DEVELOPED_PROJTYPE, kAttrInt, 1),
    one(kPart, OXR_PART_INTERVALVOLUME_VARID, kAttrInt, 1),
    one(kPart, OXR_PART_TENSOR_VARID, kAttrInt, 1),
    one(kPart, OXR_PART_TENSOR_COLORBYDIRECTION, kAttrInt, 1),
    one(kPart, OXR_PART_TENSOR_LINEWIDTHBYDIRECTION, kAttrInt, 1),
    one(kPart, OXR_PART_TENSOR_SHOWCOMPRESSION, kAttrInt, 1),
    one(kPart, OXR_PART_TENSOR_SHOWTENSION, kAttrInt, 1),
    one(kPart, OXR_PART_TENSOR_TIPSHAPE, kAttrInt, 1),
    one(kPart, OXR_PART_PLANECLIP_SAMPLES, kAttrInt, 2),
    range(kPart, OXR_PART_IJKCLIP_MINS, OXR_PART_IJKCLIP_STEP, kAttrInt, 3),
    one(kPart, OXR_PART_BOXCLIP_ISMININFINITE, kAttrInt, 3),
    one(kPart, OXR_PART_BOXCLIP_ISMAXINFINITE, kAttrInt, 3),
    range(kPart, OXR_PART_XYZCLIP_VALUE, OXR_PART_XYZCLIP_STEP, kAttrFloat, 1),
    one(kPart, OXR_PART_CYLINDERCLIP_RADIUS, kAttrFloat, 1),
    one(kPart, OXR_PART_SPHERECLIP_RADIUS, kAttrFloat, 1),
    one(kPart, OXR_PART_CONECLIP_ANGLE, kAttrFloat, 1),
    one(kPart, OXR_PART_CONTOUR_DISPLAYOFFSET, kAttrFloat, 1),
    range(kPart, OXR_PART_PTRACE_PARTICLETIME, OXR_PART_PTRACE_STOPTIME, kAttrFloat, 1),
    one(kPart, OXR_PART_PTRACE_PULSETIME, kAttrFloat, 1),
    one(kPart, OXR_PART_PROFILE_DISPLAYOFFSET, kAttrFloat, 1),
    one(kPart, OXR_PART_PROFILE_SCALEFACTOR, kAttrFloat, 1),
    one(kPart, OXR_PART_VECTOR_DENSITY, kAttrFloat, 1),
    one(kPart, OXR_PART_VECTOR_SCALE, kAttrFloat, 1),
    one(kPart, OXR_PART_VECTOR_DISPLAYOFFSET, kAttrFloat, 1),
    one(kPart, OXR_PART_VECTOR_MINTHRESHOLD, kAttrFloat, 1),
    one(kPart, OXR_PART_VECTOR_MAXTHRESHOLD, kAttrFloat, 1),
    one(kPart, OXR_PART_VECTOR_TIPSCALE, kAttrFloat, 1),
    one(kPart, OXR_PART_ELEVATED_SCALE, kAttrFloat, 1),
    one(kPart, OXR_PART_ELEVATED_DISPLAYOFFSET, kAttrFloat, 1),
    one(kPart, OXR_PART_INTERVALVOLUME_COMPRESSIONLINEWIDTH, kAttrFloat, 1),
    one(kPart, OXR_PART_INTERVALVOLUME_TENSIONLINEWIDTH, kAttrFloat, 1),
    one(kPart, OXR_PART_INTERVALVOLUME_GLYPHSCALE, kAttrFloat, 1),
    one(kPart, OXR_PART_INTERVALVOLUME_TIPSIZE, kAttrFloat, 1),
    one(kPart, OXR_PART_TENSOR_COMPRESSIONLINEWIDTH, kAttrFloat, 1),
    one(kPart, OXR_PART_TENSOR_TENSIONLINEWIDTH, kAttrFloat, 1),
    one(kPart, OXR_PART_TENSOR_GLYPHSCALE, kAttrFloat, 1),
    one(kPart, OXR_PART_TENSOR_TIPSIZE, kAttrFloat, 1),
    one(kPart, OXR_PART_DEVELOPED_UVSCALE, kAttrFloat, 2),
    one(kPart, OXR_PART_LINECLIP_P1, kAttrFloat, 3),
    one(kPart, OXR_PART_LINECLIP_P2, kAttrFloat, 3),
    one(kPart, OXR_PART_CYLINDERCLIP_ORIGIN, kAttrFloat, 3),
    one(kPart, OXR_PART_CYLINDERCLIP_AXIS, kAttrFloat, 3),
    one(kPart, OXR_PART_SPHERECLIP_ORIGIN, kAttrFloat, 3),
    one(kPart, OXR_PART_CONECLIP_ORIGIN, kAttrFloat, 3),
    one(kPart, OXR_PART_CONECLIP_AXIS, kAttrFloat, 3),
    one(kPart, OXR_PART_BOXCLIP_MINVALUES, kAttrFloat, 3),
    one(kPart, OXR_PART_BOXCLIP_MAXVALUES, kAttrFloat, 3),
    one(kPart, OXR_PART_PROFILE_COMPONENTS, kAttrFloat, 3),
    one(kPart, OXR_PART_PROFILE_REFPOINT, kAttrFloat, 3),
    one(kPart, OXR_PART_VECTOR_PROJECTIONSCALES, kAttrFloat, 3),
    one(kPart, OXR_PART_VECTOR_TIPCOLOR, kAttrFloat, 3),
    one(kPart, OXR_PART_ELEVATED_COMPONENTS, kAttrFloat, 3),
    range(kPart, OXR_PART_DEVELOPED_ORIGIN, OXR_PART_DEVELOPED_RADIUS, kAttrFloat, 3),
    one(kPart, OXR_PART_INTERVALVOLUME_COMPRESSIONCOLOR, kAttrFloat, 3),
    one(kPart, OXR_PART_INTERVALVOLUME_TENSIONCOLOR, kAttrFloat, 3),
    one(kPart, OXR_PART_INTERVALVOLUME_EIGENVECTORS, kAttrFloat, 3),
    one(kPart, OXR_PART_TENSOR_COMPRESSIONCOLOR, kAttrFloat, 3),
    one(kPart, OXR_PART_TENSOR_TENSIONCOLOR, kAttrFloat, 3),
    one(kPart, OXR_PART_TENSOR_EIGENVECTORS, kAttrFloat, 3),
    one(kPart, OXR_PART_PLANECLIP_POINTS, kAttrFloat, 9),
    dependent(kPart, OXR_PART_CONTOUR_LEVELS, kAttrFloat, 0, OXR_PART_CONTOUR_NUMLEVELS, 1),

    // Render attributes.
    range(kRendAttr, OXR_RENDATTR_ISVISIBLE, OXR_RENDATTR_ELEMENTREP, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_MIRRORAXES, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_DISPLACEBYVARID, kAttrInt, 1),
    range(kRendAttr, OXR_RENDATTR_ISHIDDENLINE, OXR_RENDATTR_COLORBY0D, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_COLORBY0DVEC, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_NODEREP, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_NODESCALESPACE, kAttrInt, 1),
    range(kRendAttr, OXR_RENDATTR_NODESPHEREDETAIL, OXR_RENDATTR_COLORBY1D, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_COLORBY1D0, kAttrInt, 1),
    range(kRendAttr, OXR_RENDATTR_LINEREP, OXR_RENDATTR_SHADETYPE2D0, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_COLORBY2D, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_COLORBY2D1, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_COLORBY2D0, kAttrInt, 1),
    range(kRendAttr, OXR_RENDATTR_COLORBYVAR, OXR_RENDATTR_VECTORTIPSTYLE, kAttrInt, 1),
    range(kRendAttr, OXR_RENDATTR_VECTORTIPFIXEDSIZE, OXR_RENDATTR_TRACERTIMEVAR, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_TRACERMULTPULSE, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_TRACERCOLORBY1D, kAttrInt, 1),
    range(kRendAttr, OXR_RENDATTR_CULLFACE2D, OXR_RENDATTR_SHOWVARLABELS, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_LABELVAR, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_LINEPATTERN, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_NUMINSTANCE, kAttrInt, 1),
    one(kRendAttr, OXR_RENDATTR_SHRINKFACTOR1D2D, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_DISPLACEMENTSCALE, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_NODESCALESCREEN, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_NODESCALEGEOM, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_LINEWIDTH, kAttrFloat, 1),
    range(kRendAttr, OXR_RENDATTR_DIFFUSELIGHT, OXR_RENDATTR_HIGHLIGHTINTENSITY, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_VECTORTIPSCALE, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_VECTORTIPANGLE, kAttrFloat, 1),
    range(kRendAttr, OXR_RENDATTR_TRACERCURTIME, OXR_RENDATTR_TRACERDELTA, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_TRACERINTERVAL, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_TRACERWIDTH, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_VARLABELSPACING, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_VECTORSCALE, kAttrFloat, 1),
    one(kRendAttr, OXR_RENDATTR_TRACERRGB, kAttrFloat, 3),
    one(kRendAttr, OXR_RENDATTR_RGBA0D, kAttrFloat, 4),
    one(kRendAttr, OXR_RENDATTR_RGBA0DVEC, kAttrFloat, 4),
    one(kRendAttr, OXR_RENDATTR_RGBA1D, kAttrFloat, 4),
    one(kRendAttr, OXR_RENDATTR_RGBA1D0, kAttrFloat, 4),
    one(kRendAttr, OXR_RENDATTR_RGBA2D, kAttrFloat, 4),
    one(kRendAttr, OXR_RENDATTR_RGBA2D1, kAttrFloat, 4),
    one(kRendAttr, OXR_RENDATTR_RGBA2D0, kAttrFloat, 4),
    one(kRendAttr, OXR_RENDATTR_VARLABELFORMAT, kAttrChar, OXR_MAX_FORMAT_STR),
    dependent(kRendAttr, OXR_RENDATTR_INSTANCE, kAttrFloat, 0, OXR_RENDATTR_NUMINSTANCE, 16),

    // Viewports.
    range(kVport, OXR_VPORT_ISVISIBLE, OXR_VPORT_BOUNDSZLABELS, kAttrInt, 1),
    one(kVport, OXR_VPORT_BOUNDSAXISCULLING, kAttrInt, 1),
    range(kVport, OXR_VPORT_XTRANSFORM, OXR_VPORT_ZTRANSFORM, kAttrInt, 1),
    one(kVport, OXR_VPORT_AXISSCALE, kAttrFloat, 1),
    range(kVport, OXR_VPORT_ZNEAR, OXR_VPORT_PERANG, kAttrFloat, 1),
    one(kVport, OXR_VPORT_WIDTH, kAttrFloat, 1),
    one(kVport, OXR_VPORT_HEIGHT, kAttrFloat, 1),
    one(kVport, OXR_VPORT_BOUNDSWIDTH, kAttrFloat, 1),
    one(kVport, OXR_VPORT_BOUNDSHEIGHT, kAttrFloat, 1),
    range(kVport, OXR_VPORT_BOUNDSXLABELSCALE, OXR_VPORT_BOUNDSZLABELSCALE, kAttrFloat, 1),
    one(kVport, OXR_VPORT_AXISLABELSCALE, kAttrFloat, 1),
    one(kVport, OXR_VPORT_AXISPOS, kAttrFloat, 2),
    one(kVport, OXR_VPORT_POSITION, kAttrFloat, 2),
    one(kVport, OXR_VPORT_BOUNDSMIN, kAttrFloat, 2),
    range(kVport, OXR_VPORT_LOOKAT, OXR_VPORT_TRANSCENTER, kAttrFloat, 3),
    one(kVport, OXR_VPORT_AXISRGBA, kAttrFloat, 4),
    one(kVport, OXR_VPORT_BORDERRGBA, kAttrFloat, 4),
    range(kVport, OXR_VPORT_BOUNDSAXISRGBA, OXR_VPORT_BOUNDSSUBGRIDRGBA, kAttrFloat, 4),
    range(kVport, OXR_VPORT_BOUNDSXLABELRGBA, OXR_VPORT_BACKGROUNDPOS, kAttrFloat, 4),
    range(kVport, OXR_VPORT_LIGHTDIFF, OXR_VPORT_LIGHTPOS, kAttrFloat, 8),
    range(kVport, OXR_VPORT_ROTMAT, OXR_VPORT_SCALMAT, kAttrFloat, 16),
    one(kVport, OXR_VPORT_BACKGROUNDCOLORS, kAttrFloat, 16),
    range(kVport, OXR_VPORT_BOUNDSXLABELFORMAT, OXR_VPORT_BOUNDSZLABELFORMAT, kAttrChar, OXR_MAX_FORMAT_STR),
    one(kVport, OXR_VPORT_AXISFONTFAMILY, kAttrChar, OXR_FONT_MAX_NAME),
    one(kVport, OXR_VPORT_BOUNDS_FONTFAMILY, kAttrChar, OXR_FONT_MAX_NAME),

    // Annotation planes.
    one(kAplane, OXR_APLANE_TYPE, kAttrInt, 1),
    one(kAplane, OXR_APLANE_SCREENNUM, kAttrInt, 1),
    range(kAplane, OXR_APLANE_XSCALE, OXR_APLANE_HEIGHT, kAttrFloat, 1),
    one(kAplane, OXR_APLANE_POS, kAttrFloat, 2),
    range(kAplane, OXR_APLANE_CENTER, OXR_APLANE_UP, kAttrFloat, 3),

    // Annotations.
    range(kAnnot, OXR_ANNOT_TEXT_STRLEN, OXR_ANNOT_LEGEND_FONTSTYLE, kAttrInt, 1),
    range(kAnnot, OXR_ANNOT_PLOT_VPORT, OXR_ANNOT_IMAGE_SCALING, kAttrInt, 1),
    one(kAnnot, OXR_ANNOT_OPACITY, kAttrFloat, 1),
    one(kAnnot, OXR_ANNOT_TEXT_SCALE, kAttrFloat, 1),
    one(kAnnot, OXR_ANNOT_TEXT_ANGLE, kAttrFloat, 1),
    one(kAnnot, OXR_ANNOT_LEGEND_WIDTH, kAttrFloat, 1),
    one(kAnnot, OXR_ANNOT_LEGEND_HEIGHT, kAttrFloat, 1),
    one(kAnnot, OXR_ANNOT_LEGEND_FONTSCALE, kAttrFloat, 1),
    one(kAnnot, OXR_ANNOT_IMAGE_WIDTH, kAttrFloat, 1),
    one(kAnnot, OXR_ANNOT_IMAGE_HEIGHT, kAttrFloat, 1),
    one(kAnnot, OXR_ANNOT_TEXT_POS, kAttrFloat, 2),
    one(kAnnot, OXR_ANNOT_LEGEND_POS, kAttrFloat, 2),
    one(kAnnot, OXR_ANNOT_PLOT_LEGEND_POS, kAttrFloat, 2),
    one(kAnnot, OXR_ANNOT_IMAGE_POS, kAttrFloat, 2),
    one(kAnnot, OXR_ANNOT_TEXT_RGB, kAttrFloat, 3),
    one(kAnnot, OXR_ANNOT_LEGEND_RGB, kAttrFloat, 3),
    range(kAnnot, OXR_ANNOT_PLOT_TITLERGB, OXR_ANNOT_PLOT_YTITLERGB, kAttrFloat, 3),
    one(kAnnot, OXR_ANNOT_PLOT_LEGEND_RGB, kAttrFloat, 3),
    one(kAnnot, OXR_ANNOT_EXTENTS, kAttrFloat, 4),
    one(kAnnot, OXR_ANNOT_LEGEND_LABELFORMAT, kAttrChar, OXR_MAX_FORMAT_STR),
    one(kAnnot, OXR_ANNOT_TEXT_FONT_FAMILY, kAttrChar, OXR_FONT_MAX_NAME),
    one(kAnnot, OXR_ANNOT_LEGEND_FONT_FAMILY, kAttrChar, OXR_FONT_MAX_NAME),
    range(kAnnot, OXR_ANNOT_PLOT_TITLE_FONT_FAMILY, OXR_ANNOT_PLOT_LEGEND_FONT_FAMILY, kAttrChar, OXR_FONT_MAX_NAME),
    range(kAnnot, OXR_ANNOT_PLOT_XAXIS, OXR_ANNOT_PLOT_TITLE, kAttrChar, OXR_QUERY_MAX_STRING),
    dependent(kAnnot, OXR_ANNOT_TEXT_STRING, kAttrChar, 1, OXR_ANNOT_TEXT_STRLEN, 1),

    // Images.
    one(kImage, OXR_IMAGE_U_X0Y0X1Y1, kAttrInt, 4),

    // Geoms.
    one(kGeom, OXR_GEOM_POLYORDER, kAttrInt, 1),
};

// Each tag of a kind belongs to at most one class.
constexpr bool classes_disjoint() {
    constexpr int n = sizeof kAttrClasses / sizeof kAttrClasses[0];
    for (int i = 0; i < n; ++i) {
        const AttrClass &a = kAttrClasses[i];
        if (a.first > a.last) return false;
        for (int j = i + 1; j < n; ++j) {
            const AttrClass &b = kAttrClasses[j];
            if (a.kind == b.kind && a.first <= b.last && b.first <= a.last) return false;
        }
    }
    return true;
}
static_assert(classes_disjoint(), "a tag is classified twice");

}  // namespace

const AttrClass *find_attr_class(int kind, int tag) {
    for (const AttrClass &c : kAttrClasses)
        if (c.kind == kind && c.first <= tag && tag <= c.last) return &c;
    return nullptr;
}

}  // namespace scnapi
