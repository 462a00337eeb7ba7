// Internal: the pixel size of the image formats, shared by the image
// family and the callers inside the project that size pixel arrays.
#pragma once

namespace scnapi {

// Bytes per pixel of an image format; 0 for a format the library does not
// know, whose pixels are then not stored.
long long bytes_per_pixel(int format);

}  // namespace scnapi
