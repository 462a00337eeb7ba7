// Sources: sequences of steps, each naming a stored record and carrying a
// value. Part, annotation and viewport sources share one layout and differ
// only in their names, so one implementation serves all three.
#include <string>

#include "bulk_readers.h"
#include "collection.h"
#include "counted_io.h"
#include "scnapi/scnapi.h"
#include "storage.h"

using namespace scnapi;

namespace {

struct SourceFamily {
    const char *word;     // record word, and the family word of the entry names
    const char *group;    // collection group under /top
    const char *counter;  // counter attribute on the collection group
    const char *indices;  // int array naming one record per step
};

constexpr SourceFamily kPartSources{"psrc", "Psrcs", "nPsrcs", "partIndices"};
constexpr SourceFamily kAnnotSources{"asrc", "Asrcs", "nAsrcs", "annotIndices"};
constexpr SourceFamily kVportSources{"vsrc", "Vsrcs", "nVsrcs", "vpIndices"};

std::string entry_name(const char *verb, const SourceFamily &f, const char *suffix = "") {
    return std::string("scn_") + verb + "_" + f.word + suffix;
}

std::string record_path(const SourceFamily &f, int index) {
    return format_path("/top/%s/%s_%d", f.group, f.word, index);
}

int write_source(const SourceFamily &f, scnapi_handle *h, int index, int nSteps, int stepId,
                 const int *indices, const float *stepValues) {
    const std::string entry = entry_name("write", f);
    const Collection c = collection(entry.c_str(), f.group, f.counter, f.word);
    return write_record(h, c, index, [&](hid_t g) {
        int status = 0;
        if (write_att_int(g, "nSteps", nSteps) < 0) status = 1;
        if (write_att_int(g, "stepId", stepId) < 0) status = 1;
        if (write_counted_int(h, g, f.indices, nSteps, indices) < 0) status = 1;
        if (write_counted_flt(h, g, "stepValues", nSteps, stepValues) < 0) status = 1;
        return status;
    });
}

int read_source_num(const SourceFamily &f, scnapi_handle *h) {
    const std::string entry = entry_name("read", f, "_num");
    const std::string close_message = closing_message(entry, f.group);
    return read_count(h, format_path("/top/%s", f.group), f.counter, close_message.c_str());
}

int read_source_info(const SourceFamily &f, scnapi_handle *h, int index, int *nSteps,
                     int *stepId) {
    const std::string entry = entry_name("read", f, "_info");
    return read_record(h, record_path(f, index), entry.c_str(),
                       closing_message(entry, f.word).c_str(), [&](hid_t g) {
                           int status = 0;
                           status |= read_int_item(g, "nSteps", nSteps);
                           status |= read_int_item(g, "stepId", stepId);
                           return status;
                       });
}

int read_source_steps(const SourceFamily &f, scnapi_handle *h, int index, const ArrayOut &indices,
                      const ArrayOut &stepValues) {
    const std::string entry = entry_name("read", f, "_steps");
    return read_record(h, record_path(f, index), entry.c_str(),
                       closing_message(entry, f.word).c_str(), [&](hid_t g) {
                           int status = 0;
                           if (read_counted(g, {"nSteps"}, f.indices, Elem::Int, indices) < 0)
                               status = 1;
                           if (read_counted(g, {"nSteps"}, "stepValues", Elem::Float, stepValues) < 0)
                               status = 1;
                           return status;
                       });
}

}  // namespace

namespace scnapi {

int read_psrc_steps(scnapi_handle *h, int index, const ArrayOut &partIndices,
                    const ArrayOut &stepValues) {
    return read_source_steps(kPartSources, h, index, partIndices, stepValues);
}

}  // namespace scnapi

extern "C" {

int scn_write_psrc(scnapi_handle *h, int index, int nSteps, int stepId, const int *partIndices,
                   const float *stepValues) {
    return write_source(kPartSources, h, index, nSteps, stepId, partIndices, stepValues);
}
int scn_write_asrc(scnapi_handle *h, int index, int nSteps, int stepId, const int *annotIndices,
                   const float *stepValues) {
    return write_source(kAnnotSources, h, index, nSteps, stepId, annotIndices, stepValues);
}
int scn_write_vsrc(scnapi_handle *h, int index, int nSteps, int stepId, const int *vpIndices,
                   const float *stepValues) {
    return write_source(kVportSources, h, index, nSteps, stepId, vpIndices, stepValues);
}

int scn_read_psrc_num(scnapi_handle *h) { return read_source_num(kPartSources, h); }
int scn_read_asrc_num(scnapi_handle *h) { return read_source_num(kAnnotSources, h); }
int scn_read_vsrc_num(scnapi_handle *h) { return read_source_num(kVportSources, h); }

int scn_read_psrc_info(scnapi_handle *h, int index, int *nSteps, int *stepId) {
    return read_source_info(kPartSources, h, index, nSteps, stepId);
}
int scn_read_asrc_info(scnapi_handle *h, int index, int *nSteps, int *stepId) {
    return read_source_info(kAnnotSources, h, index, nSteps, stepId);
}
int scn_read_vsrc_info(scnapi_handle *h, int index, int *nSteps, int *stepId) {
    return read_source_info(kVportSources, h, index, nSteps, stepId);
}

int scn_read_psrc_steps(scnapi_handle *h, int index, int *partIndices, float *stepValues) {
    return read_psrc_steps(h, index, partIndices, stepValues);
}
int scn_read_asrc_steps(scnapi_handle *h, int index, int *annotIndices, float *stepValues) {
    return read_source_steps(kAnnotSources, h, index, annotIndices, stepValues);
}
int scn_read_vsrc_steps(scnapi_handle *h, int index, int *vpIndices, float *stepValues) {
    return read_source_steps(kVportSources, h, index, vpIndices, stepValues);
}

}  // extern "C"
