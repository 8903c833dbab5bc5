// A few moments of a run side by side in one picture: a column a moment, the left eye over the
// right eye.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "HeadsetRuntime.h"

namespace stnplay {

class ContactSheet {
public:
    explicit ContactSheet(std::size_t maxMoments) : maxMoments(maxMoments) {}

    // Keeps the moment; past the limit the oldest but the first goes, so that the sheet always
    // spans the run from its start to its latest moment.
    void Add(const EyeImage& left, const EyeImage& right);
    std::size_t Count() const { return moments.size(); }
    bool Write(const std::string& path, std::string& error) const;

private:
    std::size_t maxMoments;
    std::vector<std::pair<EyeImage, EyeImage>> moments;
};

// Writes R, G, B, A rows, top row first, as a PNG.
bool WritePng(const std::string& path, std::uint32_t width, std::uint32_t height,
              const std::vector<std::uint8_t>& rgba, std::string& error);

}  // namespace stnplay
