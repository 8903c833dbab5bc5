#include "VideoFileSource.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/spherical.h>
#include <libavutil/stereo3d.h>
#include <libswscale/swscale.h>
}

#include <sys/stat.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "VF/VideoFrame.h"
#include "hostmediatypes/PixelFormat.h"

namespace stnplay {

namespace {

std::string AvError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

// The packings the library takes, with the order of the eyes; any other is played as mono and
// named so that the user can be told.
void ApplyStereo(const AVStereo3D& stereo, SourceLayout& layout) {
    layout.rightEyeFirst = false;
    layout.foreignStereo.clear();
    switch (stereo.type) {
        case AV_STEREO3D_SIDEBYSIDE:
            layout.layout = "side-by-side";
            break;
        case AV_STEREO3D_TOPBOTTOM:
            layout.layout = "over-under";
            break;
        case AV_STEREO3D_2D:
            layout.layout = "mono";
            return;
        default:
            layout.layout = "mono";
            layout.foreignStereo = av_stereo3d_type_name(stereo.type);
            return;
    }
    layout.rightEyeFirst = (stereo.flags & AV_STEREO3D_FLAG_INVERT) != 0;
}

}  // namespace

VideoFileSource::~VideoFileSource() {
    sws_freeContext(scaler);
    av_packet_free(&packet);
    av_frame_free(&decoded);
    avcodec_free_context(&codec);
    avformat_close_input(&format);
}

std::unique_ptr<VideoFileSource> VideoFileSource::Open(const std::string& path,
                                                       std::string& error) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        error = "no such file: " + path;
        return nullptr;
    }
    if (S_ISDIR(info.st_mode)) {
        error = path + " is a directory, not a video file";
        return nullptr;
    }
    av_log_set_level(AV_LOG_QUIET);
    std::unique_ptr<VideoFileSource> source(new VideoFileSource());
    source->path = path;
    const std::string cannot = "cannot read " + path + " as a video: ";
    int rc = avformat_open_input(&source->format, path.c_str(), nullptr, nullptr);
    if (rc < 0) {
        error = cannot + AvError(rc);
        return nullptr;
    }
    rc = avformat_find_stream_info(source->format, nullptr);
    if (rc < 0) {
        error = cannot + AvError(rc);
        return nullptr;
    }
    const AVCodec* decoder = nullptr;
    source->stream = av_find_best_stream(source->format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (source->stream < 0 || decoder == nullptr) {
        error = cannot + (source->stream < 0 ? "it holds no video stream it can decode"
                                             : "no decoder for its video");
        return nullptr;
    }
    AVStream* stream = source->format->streams[source->stream];
    source->codec = avcodec_alloc_context3(decoder);
    if (source->codec == nullptr ||
        avcodec_parameters_to_context(source->codec, stream->codecpar) < 0 ||
        avcodec_open2(source->codec, decoder, nullptr) < 0) {
        error = cannot + "its video decoder would not open";
        return nullptr;
    }
    if (source->codec->width <= 0 || source->codec->height <= 0) {
        error = cannot + "its video has no picture size";
        return nullptr;
    }
    source->decoded = av_frame_alloc();
    source->packet = av_packet_alloc();
    if (source->decoded == nullptr || source->packet == nullptr) {
        error = cannot + "out of memory";
        return nullptr;
    }
    AVRational rate = stream->avg_frame_rate;
    if (rate.num <= 0 || rate.den <= 0) {
        rate = stream->r_frame_rate;
    }
    if (rate.num > 0 && rate.den > 0) {
        const double value = av_q2d(rate);
        if (value >= 1.0 && value <= 1000.0) {
            source->rate = value;
        }
    }
    // The container's count when it keeps one, else an estimate from the duration.
    if (stream->nb_frames > 0) {
        source->frameCount = stream->nb_frames;
    } else if (source->format->duration > 0) {
        source->frameCount = static_cast<std::int64_t>(
            std::llround(source->format->duration * source->rate / AV_TIME_BASE));
    }
    source->ReadLayout();
    return source;
}

void VideoFileSource::ReadLayout() {
    AVStream* stream = format->streams[this->stream];
    size_t size = 0;
    const std::uint8_t* data = av_stream_get_side_data(stream, AV_PKT_DATA_SPHERICAL, &size);
    if (data != nullptr && size >= sizeof(AVSphericalMapping)) {
        const AVSphericalMapping* mapping = reinterpret_cast<const AVSphericalMapping*>(data);
        if (mapping->projection == AV_SPHERICAL_EQUIRECTANGULAR) {
            // Bounds mean something for tiles only.
            layout.projection = "equirect";
        } else if (mapping->projection == AV_SPHERICAL_EQUIRECTANGULAR_TILE) {
            layout.projection = "equirect";
            // The tile's place in the whole sphere, as 0.32 fixed-point fractions of it.
            const double scale = 4294967296.0;
            const double left = mapping->bound_left / scale;
            const double right = mapping->bound_right / scale;
            const double top = mapping->bound_top / scale;
            const double bottom = mapping->bound_bottom / scale;
            const long horizontal = std::lround(360.0 * (1.0 - left - right));
            const long vertical = std::lround(180.0 * (1.0 - top - bottom));
            if (horizontal >= 1 && horizontal <= 360 && vertical >= 1 && vertical <= 180) {
                layout.horizontalFov = static_cast<std::uint32_t>(horizontal);
                layout.verticalFov = static_cast<std::uint32_t>(vertical);
                // The library centres a partial picture ahead and on the horizon.
                const long yaw = std::lround(180.0 * (left - right));
                const long pitch = std::lround(90.0 * (bottom - top));
                if (yaw != 0 || pitch != 0) {
                    const auto turn = [](long degrees, const char* positive, const char* negative) {
                        return std::to_string(std::labs(degrees)) + " degrees " +
                               (degrees < 0 ? negative : positive);
                    };
                    warnings.push_back(path + " covers " + std::to_string(horizontal) + "x" +
                                       std::to_string(vertical) + " degrees centred " +
                                       turn(yaw, "right", "left") + " and " +
                                       turn(pitch, "up", "down") +
                                       " of ahead; it is shown centred ahead");
                }
            }
        } else {
            layout.foreignProjection = av_spherical_projection_name(mapping->projection);
        }
    }
    data = av_stream_get_side_data(stream, AV_PKT_DATA_STEREO3D, &size);
    if (data != nullptr && size >= sizeof(AVStereo3D)) {
        ApplyStereo(*reinterpret_cast<const AVStereo3D*>(data), layout);
    }
}

void VideoFileSource::TakeFrameSideData() {
    const AVFrameSideData* side = av_frame_get_side_data(decoded, AV_FRAME_DATA_STEREO3D);
    if (side != nullptr && side->size >= static_cast<int>(sizeof(AVStereo3D))) {
        ApplyStereo(*reinterpret_cast<const AVStereo3D*>(side->data), layout);
    }
}

bool VideoFileSource::Next(hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) {
    for (;;) {
        int rc = avcodec_receive_frame(codec, decoded);
        if (rc == 0) {
            TakeFrameSideData();
            const bool converted = Convert(frame);
            av_frame_unref(decoded);
            return converted;
        }
        if (rc == AVERROR_EOF) {
            return false;
        }
        if (rc != AVERROR(EAGAIN)) {
            error = "decoding " + path + " failed: " + AvError(rc);
            return false;
        }
        if (draining) {
            return false;
        }
        // Feed the decoder the next packet of our stream, or tell it the file ended.
        for (;;) {
            rc = av_read_frame(format, packet);
            if (rc < 0) {
                draining = true;
                avcodec_send_packet(codec, nullptr);
                break;
            }
            if (packet->stream_index != stream) {
                av_packet_unref(packet);
                continue;
            }
            rc = avcodec_send_packet(codec, packet);
            av_packet_unref(packet);
            if (rc < 0 && rc != AVERROR(EAGAIN)) {
                // A damaged packet: skip it as players do.
                continue;
            }
            break;
        }
    }
}

bool VideoFileSource::Convert(hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) {
    const int width = decoded->width;
    const int height = decoded->height;
    if (width <= 0 || height <= 0) {
        error = "decoding " + path + " gave an empty picture";
        return false;
    }
    // 'argb' frames are native ARGB words: the bytes B, G, R, A, FFmpeg's BGRA.
    scaler = sws_getCachedContext(scaler, width, height,
                                  static_cast<AVPixelFormat>(decoded->format), width, height,
                                  AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr, nullptr);
    if (scaler == nullptr) {
        error = "cannot convert the pixels of " + path;
        return false;
    }
    // The shape of a pixel, as the container or the stream says (anamorphic footage is stored
    // narrower than it is shown); unknown reads as square.
    const AVRational sample =
        av_guess_sample_aspect_ratio(format, format->streams[stream], decoded);
    hostmediatypes::PixelAspectRatio aspect = hostmediatypes::kPixelAspectRatio_Square;
    if (sample.num > 0 && sample.den > 0) {
        aspect = hostmediatypes::PixelAspectRatio{sample.num, sample.den};
    }
    hostcore::classref::InterfaceRef<MF::IVideoFrame> created;
    if (VF::CreateHostVideoFrame(created, hostmediatypes::kPixelFormat_ARGB_4444_8u, width, height,
                                 0, aspect) != VF::kCreateResult_OK) {
        error =
            "cannot make a host frame of " + std::to_string(width) + "x" + std::to_string(height);
        return false;
    }
    const auto rows = created.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    const auto pixels = created.QueryInterface<VF::IVideoFrameMemoryAccess>();
    if (!rows || !pixels) {
        return false;
    }
    // Host frames are stored bottom row first: write the decoded rows upwards from the last.
    const int rowBytes = rows->GetRowBytes();
    std::uint8_t* planes[4] = {static_cast<std::uint8_t*>(pixels->GetPixels()) +
                                   static_cast<std::ptrdiff_t>(height - 1) * rowBytes,
                               nullptr, nullptr, nullptr};
    int strides[4] = {-rowBytes, 0, 0, 0};
    sws_scale(scaler, decoded->data, decoded->linesize, 0, height, planes, strides);
    frame = created;
    return true;
}

}  // namespace stnplay
