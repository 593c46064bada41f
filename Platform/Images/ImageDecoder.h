// Decodes pictures that come from strangers in a process of its own, which has no network, no files to write, no keys,
// and bounds on memory and time: a picture made to break a decoder or to swell beyond all measure ends that process
// alone.
#pragma once

#include <filesystem>
#include <memory>

#include "Images/Image.h"

namespace qs {

class ImageDecoder {
public:
    virtual ~ImageDecoder() = default;
    // As Image::imageWithData. Blocking, for some seconds at most; from every thread but the main one.
    virtual Result<Image> imageWithData(std::string_view data, const ImageLimits& limits = {},
                                        std::optional<ImageSize> vectorSize = {}) = 0;

    // `program` is the decoder that is built beside the program.
    static std::shared_ptr<ImageDecoder> inProcess(std::filesystem::path program, TimeInterval longest = 10);
    // What that program does with its arguments: reads the picture from its input, writes the pixels to its output.
    static int run(int argumentCount, char** arguments);
};

}  // namespace qs
