// Frames of a video file, decoded with FFmpeg's libraries and converted to 'argb' host frames.
#pragma once

#include <memory>

#include "FrameSource.h"

struct AVFormatContext;
struct AVCodecContext;
struct AVFrame;
struct AVPacket;
struct SwsContext;

namespace stnplay {

class VideoFileSource : public FrameSource {
public:
    ~VideoFileSource() override;

    // Opens the file and its best video stream. Null, with the reason in `error`, when the file
    // does not exist or FFmpeg cannot read a video stream from it.
    static std::unique_ptr<VideoFileSource> Open(const std::string& path, std::string& error);

    bool Next(hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) override;
    double FrameRate() const override { return rate; }
    std::int64_t FrameCount() const override { return frameCount; }
    SourceLayout Layout() const override { return layout; }
    std::string Name() const override { return path; }
    std::string Error() const override { return error; }
    std::vector<std::string> Warnings() const override { return warnings; }

private:
    VideoFileSource() = default;
    void ReadLayout();
    void TakeFrameSideData();
    bool Convert(hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame);

    std::string path;
    std::string error;
    std::vector<std::string> warnings;
    double rate = 30.0;
    std::int64_t frameCount = -1;
    SourceLayout layout;
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVFrame* decoded = nullptr;
    AVPacket* packet = nullptr;
    SwsContext* scaler = nullptr;
    int stream = -1;
    bool draining = false;
};

}  // namespace stnplay
