// Scenes: animations over frames, with their per-scene sub-records.
#include "collection.h"
#include "scnapi/scnapi.h"

using namespace scnapi;

extern "C" {

int scn_read_scene_num(scnapi_handle *h) {
    return read_count(h, "/top/Scenes", "nScenes", "scn_read_scene_num: error closing Scenes group",
                      /*quiet=*/true);
}

}  // extern "C"
