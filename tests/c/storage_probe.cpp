// Drives the storage helpers and the collection convention through a fixed
// script against the file named on the command line, printing one
// "== <step> -> <result>" line per step after whatever the library printed.
// The Python tests check the printed diagnostics and the file it leaves.
#include <cstdio>
#include <cstring>
#include <vector>

#include "scnapi/collection.h"
#include "scnapi/groups.h"
#include "scnapi/scnapi.h"
#include "scnapi/storage.h"

using namespace scnapi;

namespace {

void step(const char *name, long long result) {
    std::fflush(stdout);
    std::printf("== %s -> %lld\n", name, result);
    std::fflush(stdout);
}

std::vector<int> iota(int n) {
    std::vector<int> v(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) v[static_cast<size_t>(i)] = i * 7 - 3;
    return v;
}

void write_datasets(scnapi_handle *h) {
    H5Id top = open_group(h->fileId, "/top");
    std::vector<int> v100 = iota(100), v101 = iota(101);
    std::vector<float> f500(500, 2.5f);
    step("int100", write_dataset_int(h, top.get(), "int100", 100, v100.data()));
    step("int101", write_dataset_int(h, top.get(), "int101", 101, v101.data()));
    step("flt500", write_dataset_flt(h, top.get(), "flt500", 500, f500.data()));
    std::vector<char> chars(300, 'x');
    step("chr300", write_dataset_str(top.get(), "chr300", 300, chars.data()));
    step("chr12", write_dataset_str(top.get(), "chr12", 12, "hello world!"));
    h->compression = -1;
    step("none101", write_dataset_int(h, top.get(), "none101", 101, v101.data()));
    int avail = 0;
    scnapi_compression_avail(&avail, nullptr);
    h->compression = avail;  // one past the table: no compression either
    step("past101", write_dataset_int(h, top.get(), "past101", 101, v101.data()));
    h->compression = 0;
    // Overwrites: same extent in place, another extent replaced whole.
    std::vector<int> v3 = {9, 8, 7};
    step("rewrite_same", write_dataset_int(h, top.get(), "int100", 100, iota(100).data()));
    step("rewritten", write_dataset_int(h, top.get(), "rewritten", 101, v101.data()));
    step("rewrite_shorter", write_dataset_int(h, top.get(), "rewritten", 3, v3.data()));
    step("att_int", write_att_int(top.get(), "count", 5));
    step("att_int_again", write_att_int(top.get(), "count", 6));
    step("att_flt", write_att_flt(top.get(), "rate", 24.5f));
    step("att_str", write_att_str(top.get(), "label", 8, "abcdefgh"));
    step("att_str_wider", write_att_str(top.get(), "label", 4, "wxyz"));
    step("att_str_empty", write_att_str(top.get(), "empty", 0, nullptr));
    // A dataset created but never written.
    hsize_t n = 4;
    hid_t space = H5Screate_simple(1, &n, nullptr);
    H5Dclose(H5Dcreate1(top.get(), "unwritten", H5T_NATIVE_INT, space, H5P_DEFAULT));
    H5Sclose(space);
}

void read_back(hid_t top) {
    char text[16];
    std::memset(text, '#', sizeof text);
    step("read_chr12_terminated", read_dataset_str(top, "chr12", text, 13, 1));
    std::printf("text=%s\n", text);
    step("read_chr12_no_room_for_nul", read_dataset_str(top, "chr12", text, 12, 1));
    int small[3] = {0, 0, 0};
    step("read_int101_into_3", read_dataset_int(top, "int101", small, 3));
    int untouched[4] = {11, 22, 33, 44};
    step("read_unwritten", read_dataset_int(top, "unwritten", untouched, 4));
    std::printf("unwritten=%d,%d,%d,%d\n", untouched[0], untouched[1], untouched[2], untouched[3]);
    step("read_missing_dataset", read_dataset_flt(top, "nothing", nullptr, 0));
    int value = 0;
    step("read_missing_att", read_att_int(top, "nothing", &value, 0));
    step("read_missing_att_quiet", read_att_int(top, "nothing", &value, 1));
    step("read_count", read_att_int(top, "count", &value, 0));
    std::printf("count=%d\n", value);
    step("read_str_as_int", read_att_int(top, "label", &value, 0));
    char label[8];
    step("read_label_into_3", read_att_str(top, "label", label, 3, 0));
}

void collections(scnapi_handle *h) {
    Collection c = collection("probe_write", "Probes", "nProbes", "probe");
    auto items = [](hid_t g) { return write_att_int(g, "value", 1) < 0 ? 1 : 0; };
    step("record_5", write_record(h, c, 5, items));
    step("record_5_again", write_record(h, c, 5, items));
    step("record_0", write_record(h, c, 0, items));
    step("count", read_count(h, "/top/Probes", "nProbes", "probe_num: error closing Probes group"));
    step("count_absent", read_count(h, "/top/None", "nNone", "none_num: error closing None group"));
    Collection sub = nested_collection("probe_write_sub", "/top/Probes/probe_7", "probe", 7,
                                       "subs", "nSubs", "sub");
    step("nested_missing_parent", write_record(h, sub, 0, items));
    Collection nested = nested_collection("probe_write_sub", "/top/Probes/probe_5", "probe", 5,
                                          "subs", "nSubs", "sub");
    step("nested_no_counter", write_record(h, nested, 0, items));
    H5Id parent = open_group(h->fileId, "/top/Probes/probe_5");
    write_att_int(parent.get(), "nSubs", 0);
    parent.reset();
    step("nested_1", write_record(h, nested, 1, items));
    step("nested_1_again", write_record(h, nested, 1, items));
    step("read_missing_record",
         read_record(h, format_path("/top/Probes/probe_%d", 3), "probe_read",
                     "probe_read: error closing probe group", [](hid_t) { return 0; }));
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) return 2;
    scnapi_handle *h = scn_write_begin(argv[1], 0);
    if (!h || h->fileId < 0) return 1;
    h->compression = 0;
    write_datasets(h);
    {
        H5Id top = open_group(h->fileId, "/top");
        read_back(top.get());
    }
    collections(h);
    step("close", scnapi_close(&h));
    return 0;
}
