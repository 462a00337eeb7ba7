/*
 * Annotations, images, queries and notes.
 * Part of the public interface: include scnapi/scnapi.h.
 *
 * Annotations, images and notes also carry tagged attributes (owner kinds
 * 5, 6 and 8, see scn_attr.h); queries don't.
 */
#ifndef SCNAPI_SCN_ANNOT_H
#define SCNAPI_SCN_ANNOT_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif

/* An annotation of type annotType (OXR_ANNOT_*): the numQueries query
   records it plots, and its mono and stereo image records. */
SCNAPI_EXPORT int scn_write_annot(scnapi_handle *h, int index, int annotType, int numQueries,
                                  int monoImageIndex, int stereoImageIndex,
                                  const int *queryIndices);
/* pixels: width * height * bytes per pixel of the format (1 for A and L,
   2 for LA, 3 for RGB, 4 for RGBA); depth: width * height floats, may be
   null when hasDepth is 0. */
SCNAPI_EXPORT int scn_write_image(scnapi_handle *h, int index, int width, int height,
                                  int pixelFormat, int hasDepth, const char *pixels,
                                  const float *depth);
/* Texts may be null (stored empty); at most 256 bytes of each are kept. */
SCNAPI_EXPORT int scn_write_query(scnapi_handle *h, int index, const char *queryName,
                                  const char *xAxisLabel, const char *yAxisLabel, int partIndex);
/* A negative index writes the next note, the one numbered by "nNotes". */
SCNAPI_EXPORT int scn_write_note(scnapi_handle *h, int index, int noteLen, const char *noteText);

/* Counts of the four families. */
SCNAPI_EXPORT int scn_read_annot_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_image_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_query_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_note_num(scnapi_handle *h);

/* An annotation's type, number of queries and image records; then its
   numQueries query indices. */
SCNAPI_EXPORT int scn_read_annot_info(scnapi_handle *h, int index, int *annotType,
                                      int *numQueries, int *monoImageIndex,
                                      int *stereoImageIndex);
SCNAPI_EXPORT int scn_read_annot_indices(scnapi_handle *h, int index, int *queryIndices);

/* An image's size, pixel format and depth flag; then its pixels (width *
   height * bytes per pixel, as written) and its depth (width * height
   floats). */
SCNAPI_EXPORT int scn_read_image_info(scnapi_handle *h, int index, int *width, int *height,
                                      int *pixelFormat, int *hasDepth);
SCNAPI_EXPORT int scn_read_image_pixels(scnapi_handle *h, int index, char *pixels);
SCNAPI_EXPORT int scn_read_image_depth(scnapi_handle *h, int index, float *depth);
/* Each text buffer holds 64 bytes (OXR_QUERY_MAX_STRING); a text of 64
   bytes or more arrives without a terminator. */
SCNAPI_EXPORT int scn_read_query_info(scnapi_handle *h, int index, char *queryName,
                                      char *xAxisLabel, char *yAxisLabel, int *partIndex);

/* A note's length in bytes (256 in files before version 1.03), then its
   text: that many bytes, no terminator added. */
SCNAPI_EXPORT int scn_read_note_info(scnapi_handle *h, int index, int *noteLen);
SCNAPI_EXPORT int scn_read_note_text(scnapi_handle *h, int index, char *noteText);

#endif /* SCNAPI_SCN_ANNOT_H */
