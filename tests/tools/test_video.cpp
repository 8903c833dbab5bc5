#include "test_video.h"

#include <algorithm>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/spherical.h>
#include <libavutil/stereo3d.h>
}

namespace stntest {

namespace {

struct Writer {
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVFrame* frame = nullptr;
    AVPacket* packet = nullptr;
    AVStream* stream = nullptr;

    ~Writer() {
        av_packet_free(&packet);
        av_frame_free(&frame);
        avcodec_free_context(&codec);
        if (format != nullptr) {
            if (format->pb != nullptr) {
                avio_closep(&format->pb);
            }
            avformat_free_context(format);
        }
    }

    // Sends `input` (null to flush) and writes what comes out.
    bool Encode(AVFrame* input) {
        if (avcodec_send_frame(codec, input) < 0) {
            return false;
        }
        for (;;) {
            const int rc = avcodec_receive_packet(codec, packet);
            if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) {
                return true;
            }
            if (rc < 0) {
                return false;
            }
            av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
            packet->stream_index = stream->index;
            if (av_interleaved_write_frame(format, packet) < 0) {
                return false;
            }
        }
    }
};

// BT.601 limited range, as the decoder will read it back.
void ToYuv(const Rgb& rgb, std::uint8_t yuv[3]) {
    const double r = rgb[0];
    const double g = rgb[1];
    const double b = rgb[2];
    yuv[0] = static_cast<std::uint8_t>(16.5 + 0.257 * r + 0.504 * g + 0.098 * b);
    yuv[1] = static_cast<std::uint8_t>(128.5 - 0.148 * r - 0.291 * g + 0.439 * b);
    yuv[2] = static_cast<std::uint8_t>(128.5 + 0.439 * r - 0.368 * g - 0.071 * b);
}

}  // namespace

bool WriteTestVideo(const std::string& path, const VideoPlan& plan, std::string& error) {
    const auto fail = [&error](const std::string& reason) {
        error = reason;
        return false;
    };
    Writer w;
    if (avformat_alloc_output_context2(&w.format, nullptr, nullptr, path.c_str()) < 0) {
        return fail("no container for " + path);
    }
    const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    if (encoder == nullptr) {
        return fail("no mpeg4 encoder");
    }
    w.stream = avformat_new_stream(w.format, nullptr);
    w.codec = avcodec_alloc_context3(encoder);
    w.frame = av_frame_alloc();
    w.packet = av_packet_alloc();
    if (w.stream == nullptr || w.codec == nullptr || w.frame == nullptr || w.packet == nullptr) {
        return fail("out of memory");
    }
    w.codec->width = plan.width;
    w.codec->height = plan.height;
    w.codec->pix_fmt = AV_PIX_FMT_YUV420P;
    w.codec->time_base = AVRational{1, plan.rate};
    w.codec->framerate = AVRational{plan.rate, 1};
    w.codec->gop_size = 4;
    if (plan.sampleAspect[0] > 0 && plan.sampleAspect[1] > 0) {
        w.codec->sample_aspect_ratio = AVRational{plan.sampleAspect[0], plan.sampleAspect[1]};
        w.stream->sample_aspect_ratio = w.codec->sample_aspect_ratio;
    }
    w.codec->bit_rate = 2000000;
    if (w.format->oformat->flags & AVFMT_GLOBALHEADER) {
        w.codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    if (avcodec_open2(w.codec, encoder, nullptr) < 0 ||
        avcodec_parameters_from_context(w.stream->codecpar, w.codec) < 0) {
        return fail("the mpeg4 encoder would not open");
    }
    w.stream->time_base = w.codec->time_base;
    w.stream->avg_frame_rate = w.codec->framerate;
    if (!plan.stereo.empty()) {
        AVStereo3D* stereo = av_stereo3d_alloc();
        stereo->type = plan.stereo == "over-under"     ? AV_STEREO3D_TOPBOTTOM
                       : plan.stereo == "side-by-side" ? AV_STEREO3D_SIDEBYSIDE
                                                       : AV_STEREO3D_LINES;
        stereo->flags = plan.rightEyeFirst ? AV_STEREO3D_FLAG_INVERT : 0;
        if (av_stream_add_side_data(w.stream, AV_PKT_DATA_STEREO3D,
                                    reinterpret_cast<std::uint8_t*>(stereo),
                                    sizeof(AVStereo3D)) < 0) {
            av_free(stereo);
            return fail("cannot attach the stereo metadata");
        }
    }
    if (!plan.spherical.empty()) {
        size_t size = 0;
        AVSphericalMapping* mapping = av_spherical_alloc(&size);
        mapping->projection = AV_SPHERICAL_EQUIRECTANGULAR;
        if (plan.spherical == "cubemap") {
            mapping->projection = AV_SPHERICAL_CUBEMAP;
        } else if (plan.tile[0] + plan.tile[1] + plan.tile[2] + plan.tile[3] > 0.0) {
            mapping->projection = AV_SPHERICAL_EQUIRECTANGULAR_TILE;
            // 0.32 fixed point.
            mapping->bound_left = static_cast<std::uint32_t>(plan.tile[0] * 4294967296.0);
            mapping->bound_top = static_cast<std::uint32_t>(plan.tile[1] * 4294967296.0);
            mapping->bound_right = static_cast<std::uint32_t>(plan.tile[2] * 4294967296.0);
            mapping->bound_bottom = static_cast<std::uint32_t>(plan.tile[3] * 4294967296.0);
        }
        if (av_stream_add_side_data(w.stream, AV_PKT_DATA_SPHERICAL,
                                    reinterpret_cast<std::uint8_t*>(mapping), size) < 0) {
            av_free(mapping);
            return fail("cannot attach the spherical metadata");
        }
    }
    // The MP4 muxer writes the spherical and stereo boxes only when told it may.
    if (!plan.stereo.empty() || !plan.spherical.empty()) {
        w.format->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    }
    if (avio_open(&w.format->pb, path.c_str(), AVIO_FLAG_WRITE) < 0 ||
        avformat_write_header(w.format, nullptr) < 0) {
        return fail("cannot start writing " + path);
    }
    w.frame->format = AV_PIX_FMT_YUV420P;
    w.frame->width = plan.width;
    w.frame->height = plan.height;
    if (av_frame_get_buffer(w.frame, 0) < 0) {
        return fail("out of memory");
    }
    for (int i = 0; i < plan.frames; ++i) {
        if (av_frame_make_writable(w.frame) < 0) {
            return fail("out of memory");
        }
        for (int y = 0; y < plan.height; ++y) {
            for (int x = 0; x < plan.width; ++x) {
                std::uint8_t yuv[3];
                ToYuv(plan.paint ? plan.paint(x, y) : plan.bands[std::min(2, y * 3 / plan.height)],
                      yuv);
                w.frame->data[0][y * w.frame->linesize[0] + x] = yuv[0];
                // 4:2:0: each chroma sample from the top-left pixel of its square.
                if (y % 2 == 0 && x % 2 == 0) {
                    w.frame->data[1][y / 2 * w.frame->linesize[1] + x / 2] = yuv[1];
                    w.frame->data[2][y / 2 * w.frame->linesize[2] + x / 2] = yuv[2];
                }
            }
        }
        w.frame->pts = i;
        if (!w.Encode(w.frame)) {
            return fail("encoding frame " + std::to_string(i) + " failed");
        }
    }
    if (!w.Encode(nullptr) || av_write_trailer(w.format) < 0) {
        return fail("finishing " + path + " failed");
    }
    return true;
}

}  // namespace stntest
