/*
 * scnapi: the scene-file library.
 *
 * A scene file is an HDF5 file recording a finished visualisation: scenes
 * and their frames, parts, geometry, variables, viewports, annotations,
 * images, notes and tagged display attributes.  Producers write one with
 * scn_write_begin, one scn_write_* call per record and scnapi_close;
 * consumers read one with scn_read_begin, the scn_read_*_num counts, the
 * scn_read_*_info records and the bulk readers, then scnapi_close.
 *
 * Every entry has C linkage and plain C types.  Writers and readers return
 * 0 on success and 1 on failure (2 for an allocation failure in the
 * attribute store); counts return the count, 0 for an absent collection and
 * -1 when closing the collection fails.  Failures print one line on
 * standard output.  Output pointers of readers may be null (item not read);
 * arrays are sized by the caller from the matching info call.
 */
#ifndef SCNAPI_SCNAPI_H
#define SCNAPI_SCNAPI_H

#include <stdint.h>

#include "oxr_constants.h"

#if defined(__GNUC__)
#define SCNAPI_EXPORT __attribute__((visibility("default")))
#else
#define SCNAPI_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Width of the handle's name fields and of stored names. */
#define SCNAPI_NAME_LEN 256
/* The most tagged attributes one record can carry. */
#define OXR_MAX_ATTRTAGS 150

/* An HDF5 identifier (hid_t of the HDF5 1.10 series, 64-bit). */
typedef int64_t scnapi_hid_t;

/*
 * One open scene file.  A plain record: C consumers may rely on directory,
 * fileName and fileId; the remaining fields belong to the library.
 */
typedef struct scnapi_handle {
    char directory[SCNAPI_NAME_LEN]; /* name up to its last '/', or "./" */
    char fileName[SCNAPI_NAME_LEN];  /* name given by the caller; "" = none */
    scnapi_hid_t fileId;             /* open HDF5 file, -1 = none */
    int compression;                 /* index into the compression table */
    /* tagged attribute store */
    int attrKind;
    int attrIndex;
    int numAttrs;
    int expectedAttrs;
    int attrTags[OXR_MAX_ATTRTAGS];
    int attrPtrs[OXR_MAX_ATTRTAGS];
    int ivalsLen;
    int fvalsLen;
    int cvalsLen;
    int ibufSize;
    int *ibuf;
    int fbufSize;
    float *fbuf;
    int cbufSize;
    char *cbuf;
    /* read side: index of the legacy (pre-2.0) geometry layout */
    int geomCount;
    int nodeSetsFound;
    int elemListsFound;
    int *nodesInGeom;
    int *elemsInGeom;
} scnapi_handle;

/* ---- library and file lifecycle ---------------------------------------- */

/* Sets HDF5 up once per process and fills the compression table: 1 when
   this call did it, 0 afterwards.  scn_write_begin calls it. */
SCNAPI_EXPORT int scnapi_init(void);

/* Static identity strings: the library's name and description, its API
   version ("2.00.00") and the version of the files it writes ("2.00"). */
SCNAPI_EXPORT const char *scnapi_name(void);
SCNAPI_EXPORT const char *scnapi_desc(void);
SCNAPI_EXPORT const char *scnapi_version(void);
SCNAPI_EXPORT const char *scnfile_version(void);

/* The usable compression methods, numbered as scn_write_set_compression
   takes them: how many, and their names ("Deflate", "Szip"), the library's
   own table rather than a copy; none before scnapi_init.  Returns 0. */
SCNAPI_EXPORT int scnapi_compression_avail(int *count, const char ***names);

/* The kinds of file a reader takes: 1 and "Scenario" (kinds holds 20
   bytes).  Returns 0. */
SCNAPI_EXPORT int scnapi_input_files(int *count, char *kinds);

/* Opens fileName for writing: a new file (an existing one is replaced), or
   with append non-zero an existing scene file to add records to (created
   when missing).  Either way "/top" gets this library's version attributes.
   Null only when no handle could be made: a file that cannot be opened
   gives a handle whose fileId is -1.  New handles compress with Deflate
   when HDF5 has it. */
SCNAPI_EXPORT scnapi_handle *scn_write_begin(const char *fileName, int append);

/* The compression of the datasets created from now on: an index into the
   table of scnapi_compression_avail, or -1 for none.  Returns 0. */
SCNAPI_EXPORT int scn_write_set_compression(scnapi_handle *h, int compression);

/* Records the producer's framework version on "/top" (256 bytes kept). */
SCNAPI_EXPORT int scn_write_framework_version(scnapi_handle *h, const char *version);

/* Opens fileNames[0] for reading; null when it is not a readable scene
   file.  Its versions become the process's: the readers of every open
   handle follow the layout of the file opened last. */
SCNAPI_EXPORT scnapi_handle *scn_read_begin(const char **fileNames);

/* version holds 256 bytes; files older than the attribute read "1.00". */
SCNAPI_EXPORT int scn_read_framework_version(scnapi_handle *h, char *version);

/* Closes the handle's file, shuts the HDF5 library down (which closes the
   files of other handles too), frees the handle and nulls *h.  A failed
   close keeps the handle. */
SCNAPI_EXPORT int scnapi_close(scnapi_handle **h);

/* Closes the handle's file and frees the handle like scnapi_close, but
   leaves the HDF5 library running, so that files held by other handles of
   the process stay open.  For consumers that keep several files open at
   once (scripting layers, viewers). */
SCNAPI_EXPORT int scnapi_close_file(scnapi_handle **h);

/* ---- record families --------------------------------------------------- */

#include "scn_scene.h"
#include "scn_source.h"
#include "scn_part.h"
#include "scn_geom.h"
#include "scn_elem.h"
#include "scn_var.h"
#include "scn_vport.h"
#include "scn_annot.h"
#include "scn_attr.h"

#ifdef __cplusplus
}
#endif

#endif /* SCNAPI_SCNAPI_H */
