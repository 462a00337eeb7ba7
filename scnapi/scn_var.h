/*
 * Variables, their extents and palettes.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_VAR_H
#define SCNAPI_SCN_VAR_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif

/*
 * Variable records under /top/Vars.  Texts are cut to the stored widths
 * (OXR_VAR_NAME_SIZE for names, OXR_VAR_DESC_SIZE for descriptions).
 * minimum and maximum point to 3 floats for the vector kinds and to 1 for
 * the scalar kinds; either may be null (zeros are stored).
 */
SCNAPI_EXPORT int scn_write_var(scnapi_handle *h, int varIndex, const char *varName,
                                const char *varDesc, int varCentering, int varKind,
                                int extentsProvided, int paletteProvided,
                                const float *minimum, const float *maximum);

/* The palette of an existing variable record; each channel's two arrays
 * hold its count of floats.  palMinVal and palMaxVal come in their listed
 * place, after colorSpace, like undefinedValue in the value writers. */
SCNAPI_EXPORT int scn_write_var_palette(scnapi_handle *h, int varIndex, const char *paletteName,
                                        int paletteInterp, int colorSpace, float palMinVal,
                                        float palMaxVal, int nSamples, int nRedOrHue,
                                        int nGrnOrSat, int nBluOrVal, int nAlpha,
                                        const float *redOrHueCntl, const float *redOrHueCols,
                                        const float *grnOrSatCntl, const float *grnOrSatCols,
                                        const float *bluOrValCntl, const float *bluOrValCols,
                                        const float *alphaCntl, const float *alphaCols);

/* The number of variable records. */
SCNAPI_EXPORT int scn_read_var_num(scnapi_handle *h);

/* varName needs 64 bytes, varDesc 128; stored texts that fill their field
 * carry no NUL. */
SCNAPI_EXPORT int scn_read_var_info(scnapi_handle *h, int varIndex, char *varName,
                                    char *varDesc, int *varCentering, int *varKind,
                                    int *extentsProvided, int *paletteProvided);

/* 3 floats each for the vector kinds, 1 for the scalar kinds. */
SCNAPI_EXPORT int scn_read_var_extents(scnapi_handle *h, int varIndex, float *minimum,
                                       float *maximum);

/* paletteName needs 32 bytes: the first 31 characters, NUL-terminated. */
SCNAPI_EXPORT int scn_read_var_palette_info(scnapi_handle *h, int varIndex, char *paletteName,
                                            int *paletteInterp, int *colorSpace,
                                            float *palMinVal, float *palMaxVal, int *nSamples,
                                            int *nRedOrHue, int *nGrnOrSat, int *nBluOrVal,
                                            int *nAlpha);

/* The control points and values of the four channels, each array holding
 * its channel's count from scn_read_var_palette_info; the arrays of a
 * channel without control points are left alone. */
SCNAPI_EXPORT int scn_read_var_palette_colors(scnapi_handle *h, int varIndex,
                                              float *redOrHueCntl, float *redOrHueCols,
                                              float *grnOrSatCntl, float *grnOrSatCols,
                                              float *bluOrValCntl, float *bluOrValCols,
                                              float *alphaCntl, float *alphaCols);

#endif /* SCNAPI_SCN_VAR_H */
