#include "v360_peer.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <cstdio>
#include <cstring>

namespace stereon_bench {

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

std::string ErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

// The frame in `format`: copied as it is for rgba, converted by swscale for anything else.
AVFrame* MakeInput(const std::vector<std::uint8_t>& rgba, int width, int height,
                   AVPixelFormat format, std::string& error) {
    AVFrame* frame = av_frame_alloc();
    if (frame == nullptr) {
        error = "cannot allocate a frame";
        return nullptr;
    }
    frame->format = format;
    frame->width = width;
    frame->height = height;
    frame->sample_aspect_ratio = AVRational{1, 1};
    if (av_frame_get_buffer(frame, 0) < 0) {
        error = "cannot allocate the frame's pixels";
        av_frame_free(&frame);
        return nullptr;
    }
    const std::uint8_t* const rows[4] = {rgba.data(), nullptr, nullptr, nullptr};
    const int strides[4] = {width * 4, 0, 0, 0};
    if (format == AV_PIX_FMT_RGBA) {
        for (int y = 0; y < height; ++y) {
            std::memcpy(frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0],
                        rows[0] + static_cast<std::size_t>(y) * strides[0],
                        static_cast<std::size_t>(strides[0]));
        }
        return frame;
    }
    SwsContext* scale = sws_getContext(width, height, AV_PIX_FMT_RGBA, width, height, format,
                                       SWS_BILINEAR, nullptr, nullptr, nullptr);
    if (scale == nullptr) {
        error = "swscale cannot convert rgba to " + std::string(av_get_pix_fmt_name(format));
        av_frame_free(&frame);
        return nullptr;
    }
    sws_scale(scale, rows, strides, 0, height, frame->data, frame->linesize);
    sws_freeContext(scale);
    return frame;
}

}  // namespace

EyeView ViewFromTangents(float left, float right, float top, float bottom) {
    const double l = std::atan(left) * kDegreesPerRadian;
    const double r = std::atan(right) * kDegreesPerRadian;
    const double t = std::atan(top) * kDegreesPerRadian;
    const double b = std::atan(bottom) * kDegreesPerRadian;
    EyeView view;
    view.horizontalFovDegrees = r - l;
    view.verticalFovDegrees = std::fabs(b - t);
    view.yawDegrees = (l + r) * 0.5;
    view.pitchDegrees = (t + b) * 0.5;
    return view;
}

std::string V360Peer::Version() {
    const unsigned version = avfilter_version();
    return "libavfilter " + std::to_string(version >> 16) + "." +
           std::to_string((version >> 8) & 0xFF) + "." + std::to_string(version & 0xFF);
}

V360Peer::~V360Peer() {
    Release();
}

void V360Peer::Release() {
    avfilter_graph_free(&graph);
    av_frame_free(&input);
    av_frame_free(&output);
    source = nullptr;
    sinks[0] = sinks[1] = nullptr;
}

bool V360Peer::Init(const std::vector<std::uint8_t>& rgba, int width, int height,
                    const std::string& inputFormat, int eyeWidth_, int eyeHeight_,
                    const EyeView eyes[2], int threads, std::string& error) {
    Release();
    eyeWidth = eyeWidth_;
    eyeHeight = eyeHeight_;
    const AVPixelFormat format = av_get_pix_fmt(inputFormat.c_str());
    const AVFilter* buffer = avfilter_get_by_name("buffer");
    const AVFilter* sink = avfilter_get_by_name("buffersink");
    if (format == AV_PIX_FMT_NONE || buffer == nullptr || sink == nullptr ||
        avfilter_get_by_name("v360") == nullptr) {
        error = "libavfilter lacks v360, buffer or buffersink, or knows no format " + inputFormat;
        return false;
    }
    input = MakeInput(rgba, width, height, format, error);
    output = av_frame_alloc();
    graph = avfilter_graph_alloc();
    if (input == nullptr || output == nullptr || graph == nullptr) {
        error = error.empty() ? "cannot allocate the filter graph" : error;
        return false;
    }
    graph->nb_threads = threads;
    graph->thread_type = AVFILTER_THREAD_SLICE;
    // The conversions libavfilter inserts run on as many threads.
    graph->scale_sws_opts = av_strdup(("threads=" + std::to_string(threads)).c_str());

    char arguments[160];
    std::snprintf(arguments, sizeof arguments,
                  "video_size=%dx%d:pix_fmt=%d:time_base=1/30:pixel_aspect=1/1", width, height,
                  static_cast<int>(format));
    int result = avfilter_graph_create_filter(&source, buffer, "frame", arguments, nullptr, graph);
    for (int eye = 0; eye < 2 && result >= 0; ++eye) {
        result = avfilter_graph_create_filter(&sinks[eye], sink, eye == 0 ? "left" : "right",
                                              nullptr, nullptr, graph);
    }
    if (result < 0) {
        error = "cannot make the graph's ends: " + ErrorText(result);
        return false;
    }

    // v360 takes planar formats only. A packed input is converted once, before the split, as a
    // user making both eyes would have it; libavfilter alone would convert it once per eye.
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(format);
    const bool planar = layout != nullptr && (layout->flags & AV_PIX_FMT_FLAG_PLANAR) != 0;
    chain = planar ? "[frame]split=2[l][r]" : "[frame]format=pix_fmts=gbrap,split=2[l][r]";
    for (int eye = 0; eye < 2; ++eye) {
        char view[256];
        std::snprintf(view, sizeof view,
                      ";[%c]v360=input=e:output=flat:interp=linear:h_fov=%.4f:v_fov=%.4f:"
                      "yaw=%.4f:pitch=%.4f:w=%d:h=%d[%s]",
                      eye == 0 ? 'l' : 'r', eyes[eye].horizontalFovDegrees,
                      eyes[eye].verticalFovDegrees, eyes[eye].yawDegrees, eyes[eye].pitchDegrees,
                      eyeWidth, eyeHeight, eye == 0 ? "left" : "right");
        chain += view;
    }
    // The graph's open ends as the chain names them: its input is our source's output, and
    // its two outputs feed our sinks.
    AVFilterInOut* outputs = avfilter_inout_alloc();
    AVFilterInOut* inputs = avfilter_inout_alloc();
    AVFilterInOut* second = avfilter_inout_alloc();
    if (outputs == nullptr || inputs == nullptr || second == nullptr) {
        avfilter_inout_free(&outputs);
        avfilter_inout_free(&inputs);
        avfilter_inout_free(&second);
        error = "cannot allocate the graph's ends";
        return false;
    }
    outputs->name = av_strdup("frame");
    outputs->filter_ctx = source;
    inputs->name = av_strdup("left");
    inputs->filter_ctx = sinks[0];
    inputs->next = second;
    second->name = av_strdup("right");
    second->filter_ctx = sinks[1];
    result = avfilter_graph_parse_ptr(graph, chain.c_str(), &inputs, &outputs, nullptr);
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    if (result >= 0) {
        result = avfilter_graph_config(graph, nullptr);
    }
    if (result < 0) {
        error = "cannot build the graph '" + chain + "': " + ErrorText(result);
        return false;
    }
    for (unsigned i = 0; i < graph->nb_filters; ++i) {
        const AVFilterContext* filter = graph->filters[i];
        if (std::strncmp(filter->name, "auto_", 5) == 0) {
            inserted.push_back(std::string(filter->filter->name) + " (" + filter->name + ")");
        }
        if (std::strcmp(filter->filter->name, "v360") == 0 && filter->nb_inputs == 1) {
            const char* name =
                av_get_pix_fmt_name(static_cast<AVPixelFormat>(filter->inputs[0]->format));
            workingFormat = name != nullptr ? name : "?";
        }
    }
    return true;
}

bool V360Peer::Run(std::string& error) {
    if (graph == nullptr) {
        error = "the graph was not built";
        return false;
    }
    input->pts = pts++;
    int result = av_buffersrc_add_frame_flags(source, input, AV_BUFFERSRC_FLAG_KEEP_REF);
    for (int eye = 0; eye < 2 && result >= 0; ++eye) {
        result = av_buffersink_get_frame(sinks[eye], output);
        if (result >= 0 && (output->width != eyeWidth || output->height != eyeHeight)) {
            error = "v360 gave an eye of " + std::to_string(output->width) + "x" +
                    std::to_string(output->height);
            av_frame_unref(output);
            return false;
        }
        av_frame_unref(output);
    }
    if (result < 0) {
        error = "v360: " + ErrorText(result);
        return false;
    }
    return true;
}

}  // namespace stereon_bench
