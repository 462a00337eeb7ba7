/*
 * Tagged attributes of part, render-attribute, viewport, annotation-plane,
 * annotation, image, geom and note records.
 * Part of the public interface: include scnapi/scnapi.h.
 *
 * A record is named by its owner kind (1 part, 2 render attribute,
 * 3 viewport, 4 annotation plane, 5 annotation, 6 image, 7 geom, 8 note)
 * and its record index. The tag alone decides the type and number of its
 * values: ints, floats or a text of fixed length.
 *
 * Writing: create the record first, announce the number of attributes with
 * scn_write_num_attributes, then add each with scn_write_attr; the record
 * is written when the announced number is reached (or when another record
 * is announced). Reading: scn_read_num_attributes loads the record, then
 * scn_read_attribute_ids and scn_read_attr serve it.
 */
#ifndef SCNAPI_SCN_ATTR_H
#define SCNAPI_SCN_ATTR_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif

/* Announces count attributes for record (kind, index), then adds one: its
   values are what attr_classify gives for the tag. */
SCNAPI_EXPORT int scn_write_num_attributes(scnapi_handle *h, int kind, int index, int count);
SCNAPI_EXPORT int scn_write_attr(scnapi_handle *h, int kind, int index, int tag,
                                 const void *values);

/* The number of attributes of the record (0-150), -1 on failure, 2 when a
   buffer could not be allocated. */
SCNAPI_EXPORT int scn_read_num_attributes(scnapi_handle *h, int kind, int index);

/* The loaded record's tags, in file order (numAttrs ints). */
SCNAPI_EXPORT int scn_read_attribute_ids(scnapi_handle *h, int kind, int index, int *tags);
/* The values of the attribute at position ordinal of that list: 0 when the
   tag is known (its values copied), 1 otherwise.  Copies the number of
   values attr_classify gives for the tag, from the attribute's offset in
   the loaded values of its type; positions past the loaded values (an
   attribute added before its governing count has none of its own) are
   given as zeros. */
SCNAPI_EXPORT int scn_read_attr(scnapi_handle *h, int kind, int index, int ordinal,
                                void *values);

/* Value types of tagged attributes. */
#define SCNAPI_ATTR_FLOAT 0
#define SCNAPI_ATTR_INT 1
#define SCNAPI_ATTR_CHAR 2

/* The type (SCNAPI_ATTR_*) and number of values `tag` carries on a record
   of owner kind `kind`: what scn_write_attr copies and scn_read_attr
   fills.  Counts that depend on another tag of the record (contour levels,
   instance matrices, a text's length) are taken from the record held in
   the handle's store: the one being written, or the one loaded last.
   0 when the tag is accepted; 1 when it is rejected (*count is then 0).
   Either output may be null. */
SCNAPI_EXPORT int attr_classify(const scnapi_handle *h, int kind, int tag, int *type,
                                int *count);

#endif /* SCNAPI_SCN_ATTR_H */
