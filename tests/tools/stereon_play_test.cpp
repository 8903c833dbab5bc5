// The demo host as a user runs it: a process of its own, playing a video made here with FFmpeg's
// own mpeg4 encoder into the simulated headset, or refusing what it cannot play with its message
// and exit code. What it wrote (the eye pictures and the summary) is what is looked at.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/spherical.h>
#include <libavutil/stereo3d.h>
}

namespace {

using Json = nlohmann::json;
using Rgb = std::array<std::uint8_t, 3>;
const double kDegree = 3.14159265358979 / 180.0;

struct VideoPlan {
    int width = 64;
    int height = 48;
    int frames = 12;
    // Three horizontal bands, top to bottom: the picture when `paint` is not set.
    Rgb bands[3] = {{220, 40, 40}, {40, 200, 60}, {40, 60, 220}};
    // The colour of pixel (x, y), top row first, the same in every frame.
    std::function<Rgb(int x, int y)> paint;
    // Stereo metadata when set: "over-under", "side-by-side" or "interleaved lines";
    // `rightEyeFirst` marks the right eye as stored first (Matroska keeps that, MP4 does not).
    std::string stereo;
    bool rightEyeFirst = false;
    // Spherical metadata when set: "equirect" or "cubemap". An equirect with any `tile` bound
    // (left, top, right, bottom: the fractions of the sphere beyond the picture's edges) is
    // written as a tile.
    std::string spherical;
    double tile[4] = {0.0, 0.0, 0.0, 0.0};
    // The shape of a pixel, width over height; 0 leaves it unset.
    int sampleAspect[2] = {0, 0};
};

// Writes the plan's video at 25 frames a second to `path`, the container from its extension.
void WriteVideo(const std::string& path, const VideoPlan& plan) {
    struct Writer {
        AVFormatContext* format = nullptr;
        AVCodecContext* codec = nullptr;
        AVFrame* frame = av_frame_alloc();
        AVPacket* packet = av_packet_alloc();
        ~Writer() {
            av_packet_free(&packet);
            av_frame_free(&frame);
            avcodec_free_context(&codec);
            if (format != nullptr) {
                avio_closep(&format->pb);
                avformat_free_context(format);
            }
        }
    } w;
    ASSERT_GE(avformat_alloc_output_context2(&w.format, nullptr, nullptr, path.c_str()), 0) << path;
    const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    ASSERT_NE(encoder, nullptr);
    AVStream* stream = avformat_new_stream(w.format, nullptr);
    w.codec = avcodec_alloc_context3(encoder);
    ASSERT_TRUE(stream && w.codec && w.frame && w.packet);
    w.codec->width = plan.width;
    w.codec->height = plan.height;
    w.codec->pix_fmt = AV_PIX_FMT_YUV420P;
    w.codec->time_base = AVRational{1, 25};
    w.codec->framerate = AVRational{25, 1};
    w.codec->gop_size = 4;
    w.codec->bit_rate = 2000000;
    if (plan.sampleAspect[0] > 0) {
        w.codec->sample_aspect_ratio = AVRational{plan.sampleAspect[0], plan.sampleAspect[1]};
        stream->sample_aspect_ratio = w.codec->sample_aspect_ratio;
    }
    if (w.format->oformat->flags & AVFMT_GLOBALHEADER) {
        w.codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    ASSERT_GE(avcodec_open2(w.codec, encoder, nullptr), 0);
    ASSERT_GE(avcodec_parameters_from_context(stream->codecpar, w.codec), 0);
    stream->time_base = w.codec->time_base;
    stream->avg_frame_rate = w.codec->framerate;
    if (!plan.stereo.empty()) {
        AVStereo3D* stereo = av_stereo3d_alloc();
        stereo->type = plan.stereo == "over-under"     ? AV_STEREO3D_TOPBOTTOM
                       : plan.stereo == "side-by-side" ? AV_STEREO3D_SIDEBYSIDE
                                                       : AV_STEREO3D_LINES;
        stereo->flags = plan.rightEyeFirst ? AV_STEREO3D_FLAG_INVERT : 0;
        ASSERT_GE(
            av_stream_add_side_data(stream, AV_PKT_DATA_STEREO3D,
                                    reinterpret_cast<std::uint8_t*>(stereo), sizeof(AVStereo3D)),
            0);
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
        ASSERT_GE(av_stream_add_side_data(stream, AV_PKT_DATA_SPHERICAL,
                                          reinterpret_cast<std::uint8_t*>(mapping), size),
                  0);
    }
    // The MP4 muxer writes the spherical and stereo boxes only when told it may.
    w.format->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    ASSERT_GE(avio_open(&w.format->pb, path.c_str(), AVIO_FLAG_WRITE), 0) << path;
    ASSERT_GE(avformat_write_header(w.format, nullptr), 0) << path;
    w.frame->format = AV_PIX_FMT_YUV420P;
    w.frame->width = plan.width;
    w.frame->height = plan.height;
    ASSERT_GE(av_frame_get_buffer(w.frame, 0), 0);

    // Sends a frame (null to flush) and writes what comes out.
    const auto encode = [&](AVFrame* input) {
        int rc = avcodec_send_frame(w.codec, input);
        while (rc >= 0) {
            rc = avcodec_receive_packet(w.codec, w.packet);
            if (rc >= 0) {
                av_packet_rescale_ts(w.packet, w.codec->time_base, stream->time_base);
                w.packet->stream_index = stream->index;
                rc = av_interleaved_write_frame(w.format, w.packet);
            }
        }
        return rc == AVERROR(EAGAIN) || rc == AVERROR_EOF;
    };
    for (int i = 0; i < plan.frames; ++i) {
        ASSERT_GE(av_frame_make_writable(w.frame), 0);
        std::uint8_t* const* planes = w.frame->data;
        const int* stride = w.frame->linesize;
        for (int y = 0; y < plan.height; ++y) {
            for (int x = 0; x < plan.width; ++x) {
                const Rgb c = plan.paint ? plan.paint(x, y) : plan.bands[y * 3 / plan.height];
                // BT.601 limited range, as the decoder will read it back; each chroma sample of
                // 4:2:0 from the top-left pixel of its square.
                const auto mix = [&c](double base, double r, double g, double b) {
                    return static_cast<std::uint8_t>(base + r * c[0] + g * c[1] + b * c[2]);
                };
                planes[0][y * stride[0] + x] = mix(16.5, 0.257, 0.504, 0.098);
                if (y % 2 == 0 && x % 2 == 0) {
                    planes[1][y / 2 * stride[1] + x / 2] = mix(128.5, -0.148, -0.291, 0.439);
                    planes[2][y / 2 * stride[2] + x / 2] = mix(128.5, 0.439, -0.368, -0.071);
                }
            }
        }
        w.frame->pts = i;
        ASSERT_TRUE(encode(w.frame)) << "encoding frame " << i;
    }
    ASSERT_TRUE(encode(nullptr));
    ASSERT_GE(av_write_trailer(w.format), 0) << path;
}

struct RunResult {
    int exitCode = -1;
    std::string out;
    std::string err;
};

struct Picture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> rgba;  // top row first

    // Black outside the picture, and everywhere in one that could not be read.
    const std::uint8_t* At(std::uint32_t x, std::uint32_t y) const {
        static const std::uint8_t kNothing[4] = {};
        return x < width && y < height ? &rgba[(static_cast<std::size_t>(y) * width + x) * 4]
                                       : kNothing;
    }
};

std::string ReadText(const std::string& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

Picture ReadPng(const std::string& path) {
    Picture picture;
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) != 0) {
        image.format = PNG_FORMAT_RGBA;
        picture.rgba.resize(PNG_IMAGE_SIZE(image));
        if (png_image_finish_read(&image, nullptr, picture.rgba.data(), 0, nullptr) != 0) {
            picture.width = image.width;
            picture.height = image.height;
        }
    }
    EXPECT_NE(picture.width, 0u) << "cannot read " << path;
    return picture;
}

std::string Quote(const std::string& text) {
    return "'" + text + "'";
}

std::string Describe(const std::uint8_t* pixel) {
    return std::to_string(pixel[0]) + "," + std::to_string(pixel[1]) + "," +
           std::to_string(pixel[2]);
}

::testing::AssertionResult Holds(bool condition) {
    return condition ? ::testing::AssertionSuccess() : ::testing::AssertionFailure();
}

// Each of R, G and B within `tolerance` of the colour.
::testing::AssertionResult Near(const std::uint8_t* pixel, const Rgb& rgb, int tolerance = 16) {
    int most = 0;
    for (int c = 0; c < 3; ++c) {
        most = std::max(most, std::abs(pixel[c] - rgb[c]));
    }
    return Holds(most <= tolerance) << Describe(pixel) << " is " << most << " from "
                                    << Describe(rgb.data()) << ", allowed " << tolerance;
}

// The test pattern's green front.
::testing::AssertionResult Green(const std::uint8_t* pixel) {
    return Holds(pixel[1] > pixel[0] + 40 && pixel[1] > pixel[2] + 40)
           << Describe(pixel) << " for the pattern's green";
}

::testing::AssertionResult Exited(const RunResult& run, int code) {
    return Holds(run.exitCode == code)
           << "exit code " << run.exitCode << ", expected " << code << ":\n"
           << run.out << run.err;
}

::testing::AssertionResult Says(const std::string& text, const std::string& words) {
    return Holds(text.find(words) != std::string::npos) << "\"" << words << "\" in:\n" << text;
}

// The simulated headset's eyes see 50 degrees to each side of ahead: the column of an eye image
// `size` wide that looks `yaw` degrees to the right of ahead (or the row, from the top, of one
// that looks as far down).
std::uint32_t ColumnAt(double yaw, std::uint32_t size) {
    const double x = std::tan(yaw * kDegree) / std::tan(50.0 * kDegree);
    return static_cast<std::uint32_t>((x + 1.0) * 0.5 * size);
}

// The pixel (column, row) at which the left eye, 32 mm left of the head's centre and 1.2 m up,
// looking ahead, sees the point (x, y, z) of the room.
std::pair<std::uint32_t, std::uint32_t> SeenByLeftEye(double x, double y, double z,
                                                      std::uint32_t size) {
    return {ColumnAt(std::atan((x + 0.032) / -z) / kDegree, size),
            ColumnAt(std::atan((1.2 - y) / -z) / kDegree, size)};
}

// A 48-pixel eye looking straight ahead and level at three bands: the middle one at the centre,
// the top one above it and the bottom one below it.
void ExpectBandsAhead(const std::string& png, const Rgb bands[3]) {
    SCOPED_TRACE(png);
    const Picture picture = ReadPng(png);
    ASSERT_EQ(picture.width, 48u);
    ASSERT_EQ(picture.height, 48u);
    EXPECT_TRUE(Near(picture.At(24, 24), bands[1]));
    EXPECT_TRUE(Near(picture.At(24, 3), bands[0]));
    EXPECT_TRUE(Near(picture.At(24, 44), bands[2]));
}

class StereonPlayTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("EGL_PLATFORM", "surfaceless", 0);
        setenv("LP_NUM_THREADS", "1", 0);
    }
    void SetUp() override {
        char pattern[] = "/tmp/stn-play-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        // No real runtime: the user's registry is an empty directory.
        setenv("XDG_CONFIG_HOME", (dir + "/config-home").c_str(), 1);
        unsetenv("VR_OVERRIDE");
        unsetenv("VR_CONFIG_PATH");
        unsetenv("VR_LOG_PATH");
        unsetenv("STEREON_PLAY_SIMVR_ROOT");
    }
    void TearDown() override { std::system(("rm -rf '" + dir + "'").c_str()); }

    RunResult Play(const std::string& arguments, const std::string& environment = "") {
        const std::string command = environment + " '" STEREON_PLAY "' " + arguments + " >'" + dir +
                                    "/stdout' 2>'" + dir + "/stderr' </dev/null";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadText(dir + "/stdout"),
                ReadText(dir + "/stderr")};
    }
    // Plays into the directory `out`: success when the run exits 0.
    ::testing::AssertionResult PlaysInto(const std::string& out, const std::string& arguments) {
        return Exited(Play(arguments + " --out " + Quote(out)), 0);
    }
    std::string MakeVideo(const std::string& name, const VideoPlan& plan) {
        WriteVideo(dir + "/" + name, plan);
        return dir + "/" + name;
    }
    Json Summary(const std::string& out) {
        return Json::parse(ReadText(out + "/summary.json"), nullptr, false);
    }

    std::string dir;
};

TEST_F(StereonPlayTest, PlaysAnEncodedVideoIntoBothEyesUpright) {
    VideoPlan plan;
    const std::string video = MakeVideo("bands.mp4", plan);
    const std::string out = dir + "/out";
    const RunResult run =
        Play(Quote(video) + " --frames 6 --eye-size 48x48 --headset rift --out " + Quote(out));
    ASSERT_TRUE(Exited(run, 0));
    EXPECT_TRUE(Says(run.out, "frames delivered"));
    // Not a terminal: the progress is a final line, not a line per frame.
    EXPECT_LE(std::count(run.out.begin(), run.out.end(), '\n'), 5) << run.out;
    ExpectBandsAhead(out + "/left.png", plan.bands);
    ExpectBandsAhead(out + "/right.png", plan.bands);
    const Picture contact = ReadPng(out + "/contact.png");
    EXPECT_GT(contact.width, 48u);
    EXPECT_GT(contact.height, 2 * 48u);

    const Json summary = Summary(out);
    ASSERT_TRUE(summary.is_object());
    const Json& frames = summary["frames"];
    // At the file's rate a slow renderer drops frames, and the file may run out before six
    // were shown: the player stops at six shown or at the end of the file, whichever is first.
    const int shown = frames["shown"].get<int>();
    const int delivered = frames["delivered"].get<int>();
    EXPECT_GE(shown, 1);
    EXPECT_TRUE(shown >= 6 || delivered == plan.frames) << frames.dump();
    EXPECT_EQ(delivered, shown + frames["dropped"].get<int>());
    EXPECT_LE(delivered, plan.frames);
    EXPECT_EQ(summary["source_frame_rate"].get<double>(), 25.0);
    const Json& latency = summary["latency_ms"];
    EXPECT_EQ(latency["count"].get<int>(), shown);
    EXPECT_GT(latency["median"].get<double>(), 0.0);
    EXPECT_LE(latency["median"].get<double>(), latency["max"].get<double>());
}

// Flat footage is on a screen 2.74 m ahead in a dim room, its width from the frame's shape and
// the shape of its pixels. The screen of a 4:3 picture reaches 15.3 degrees either side of
// ahead; beyond it is the wall, in plain grey. The options say how to play it, whatever the file
// says.
TEST_F(StereonPlayTest, OptionsPutAFlatFileOnAScreenInTheRoomWhateverItsMetadataSay) {
    const Rgb inner{220, 180, 40};
    const auto room = [](const std::uint8_t* p) {
        return Holds(std::abs(p[0] - p[1]) <= 6 && std::abs(p[1] - p[2]) <= 6 && p[0] < 100)
               << Describe(p) << " for the room's grey";
    };
    // Half as wide as 4:3, with pixels twice as wide as high, said to be 360 degree over-under.
    VideoPlan plan;
    plan.width = 32;
    plan.paint = [&](int, int) { return inner; };
    plan.sampleAspect[0] = 2;
    plan.sampleAspect[1] = 1;
    plan.stereo = "over-under";
    plan.spherical = "equirect";
    const std::string video = MakeVideo("anamorphic.mkv", plan);
    const std::string out = dir + "/flat";
    ASSERT_TRUE(PlaysInto(out, Quote(video) + " --projection flat --layout mono --rate headset " +
                                   "--frames 3 --eye-size 64x64"));
    const Json summary = Summary(out);
    EXPECT_EQ(summary["projection"], "flat");
    EXPECT_EQ(summary["layout"], "mono");
    const Picture picture = ReadPng(out + "/left.png");
    EXPECT_TRUE(Near(picture.At(32, 32), inner));
    // Inside the screen's edge only if the pixels' shape is taken into account: square pixels
    // would make the screen reach 7.8 degrees.
    EXPECT_FALSE(room(picture.At(ColumnAt(11.5, 64), 32)));
    EXPECT_TRUE(room(picture.At(ColumnAt(19.0, 64), 32)));  // the wall
    EXPECT_TRUE(room(picture.At(32, 60)));                  // the floor
}

// Missing files and runtimes, files that are not video and bad options.
TEST_F(StereonPlayTest, WhatItCannotPlayIsRefusedWithItsMessageAndExitCode) {
    std::ofstream(dir + "/notes.mp4") << "these are notes, not a video\n";
    const std::string out = " --out " + Quote(dir + "/o");
    struct Refusal {
        std::string arguments;
        int exitCode;
        std::string message;
        std::string environment;
    };
    const Refusal refusals[] = {
        {Quote(dir + "/missing.mp4") + out, 3, "no such file: " + dir + "/missing.mp4", ""},
        {Quote(dir + "/notes.mp4") + out, 3, "cannot read " + dir + "/notes.mp4 as a video", ""},
        // No OpenVR runtime is installed here: asking for one fails before anything starts.
        {"--runtime openvr" + out, 4, "no OpenVR runtime is installed", ""},
        {"--runtime simulated" + out, 4, "the simulated headset runtime is missing",
         "STEREON_PLAY_SIMVR_ROOT=" + Quote(dir + "/nowhere")},
        {"--fov 400x90", 2, "invalid value for --fov: '400x90'", ""},
        {"--fov 90", 2, "invalid value for --fov: '90'", ""},
        {"--frames 0", 2, "invalid value for --frames: '0'", ""},
        {"--layout diagonal", 2, "invalid value for --layout: 'diagonal'", ""},
        {"--headset cardboard", 2, "invalid value for --headset: 'cardboard'", ""},
        {"--eye-size 8x8", 2, "invalid value for --eye-size: '8x8'", ""},
        {"--loud", 2, "unknown option --loud", ""},
        {"--projection", 2, "--projection needs a value", ""},
        {"a.mp4 b.mp4", 2, "more than one file given", ""},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.arguments);
        const RunResult run = Play(refusal.arguments, refusal.environment);
        EXPECT_TRUE(Exited(run, refusal.exitCode));
        EXPECT_TRUE(Says(run.err, refusal.message));
    }
    const RunResult help = Play("--help");
    EXPECT_TRUE(Exited(help, 0));
    EXPECT_TRUE(Says(help.out, "--controllers"));
}

// Each eye's picture holds three bands of its own colours, top to bottom; a stereo frame holds
// the two pictures in halves, in the order its metadata says.
TEST_F(StereonPlayTest, EachEyeSeesItsOwnHalfOfAStereoFile) {
    const Rgb eyeBands[2][3] = {{{220, 40, 40}, {40, 200, 60}, {40, 60, 220}},
                                {{230, 210, 40}, {210, 50, 210}, {40, 210, 210}}};
    struct Case {
        const char* file;
        const char* layout;
        bool rightEyeFirst;
    };
    // MP4 cannot say that the right eye comes first; Matroska can.
    const Case cases[] = {{"ou.mp4", "over-under", false},
                          {"sbs.mp4", "side-by-side", false},
                          {"ou-right-first.mkv", "over-under", true},
                          {"sbs-right-first.mkv", "side-by-side", true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const bool overUnder = std::string(c.layout) == "over-under";
        VideoPlan plan;
        plan.width = 128;
        plan.height = 96;
        plan.frames = 3;
        plan.stereo = c.layout;
        plan.rightEyeFirst = c.rightEyeFirst;
        plan.spherical = "equirect";
        plan.paint = [&](int x, int y) {
            const bool second = overUnder ? y >= plan.height / 2 : x >= plan.width / 2;
            const int eyeHeight = overUnder ? plan.height / 2 : plan.height;
            const int eyeY = overUnder && second ? y - eyeHeight : y;
            return eyeBands[second != c.rightEyeFirst ? 1 : 0][eyeY * 3 / eyeHeight];
        };
        const std::string video = MakeVideo(c.file, plan);
        const std::string out = dir + "/" + c.file + "-out";
        ASSERT_TRUE(PlaysInto(out, Quote(video) + " --rate headset --eye-size 48x48"));
        const Json summary = Summary(out);
        EXPECT_EQ(summary["projection"], "equirect");
        EXPECT_EQ(summary["layout"], c.layout);
        EXPECT_EQ(summary["fov"], Json({360, 180}));
        EXPECT_EQ(summary["eyes_exchanged"], c.rightEyeFirst);
        // As fast as the headset takes them: every frame of the file is shown, none dropped.
        EXPECT_EQ(summary["frames"]["shown"].get<int>(), plan.frames);
        EXPECT_EQ(summary["frames"]["dropped"].get<int>(), 0);
        ExpectBandsAhead(out + "/left.png", eyeBands[0]);
        ExpectBandsAhead(out + "/right.png", eyeBands[1]);
    }
}

// A tile of the sphere named by the file's spherical metadata: 180 by 180 degrees, so the
// frame's middle quarter (a stripe of its own colour) spans 45 degrees instead of 90.
TEST_F(StereonPlayTest, PartialFieldOfViewFromTheFileNarrowsThePicture) {
    const Rgb stripe = {40, 200, 60};
    const Rgb around = {40, 60, 220};
    VideoPlan plan;
    plan.width = 128;
    plan.height = 64;
    plan.frames = 3;
    plan.spherical = "equirect";
    plan.tile[0] = 0.25;
    plan.tile[2] = 0.25;
    plan.paint = [&](int x, int) { return x >= 48 && x < 80 ? stripe : around; };
    const std::string video = MakeVideo("tile.mp4", plan);

    // What the eyes see 35 degrees left and right of ahead.
    const std::pair<int, const Rgb*> cases[] = {{180, &around}, {360, &stripe}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        const std::string out = dir + "/tile-" + std::to_string(c.first);
        const std::string fov = c.first == 360 ? " --fov 360x180" : "";
        ASSERT_TRUE(
            PlaysInto(out, Quote(video) + fov + " --rate headset --frames 2 --eye-size 48x48"));
        EXPECT_EQ(Summary(out)["fov"], Json({c.first, 180}));
        for (const char* eye : {"left", "right"}) {
            SCOPED_TRACE(eye);
            const Picture picture = ReadPng(out + "/" + eye + ".png");
            EXPECT_TRUE(Near(picture.At(ColumnAt(0.0, 48), 24), stripe));
            for (double yaw : {-35.0, 35.0}) {
                EXPECT_TRUE(Near(picture.At(ColumnAt(yaw, 48), 24), *c.second)) << yaw;
            }
        }
    }
}

// Without a file the test pattern plays, its front ahead, and stops after the frames asked for.
// The status panel floats 1.2 m ahead and 0.35 m below the eyes, 600 x 120 mm, its progress bar
// in orange across panel rows 52 to 106; a run of the whole length fills the bar.
TEST_F(StereonPlayTest, TestPatternFacesAheadAndTheStatusPanelBelowItAnswersThePointer) {
    const std::string bare = dir + "/bare";
    ASSERT_TRUE(PlaysInto(bare, "--no-panel --frames 5 --rate headset --eye-size 512x512"));
    const Json bareSummary = Summary(bare);
    EXPECT_GE(bareSummary["frames"]["shown"].get<int>(), 5);
    EXPECT_TRUE(bareSummary["panel"].is_null());
    const Picture plain = ReadPng(bare + "/left.png");
    // Left of the front meridian, just below the horizon: the front's green, between grid lines
    // and away from the labels and the frame number under the horizon. Frames go at the
    // headset's pace so that the number, and with it the panel's spot below, is the same each
    // run.
    EXPECT_TRUE(Green(plain.At(160, 300)));
    // Upright and not mirrored: lighter towards up, the left's blue on the left and the right's
    // red on the right.
    const std::uint8_t* above = plain.At(164, 68);
    const std::uint8_t* below = plain.At(164, 452);
    EXPECT_GT(above[0] + above[1] + above[2], below[0] + below[1] + below[2] + 100)
        << Describe(above) << " over " << Describe(below);
    const std::uint8_t* leftSide = plain.At(12, 356);
    EXPECT_GT(leftSide[2], leftSide[0] + 60) << Describe(leftSide);
    const std::uint8_t* rightSide = plain.At(500, 356);
    EXPECT_GT(rightSide[0], rightSide[2] + 60) << Describe(rightSide);

    const Rgb bar{255, 150, 40};
    const double centre[3] = {0.0, 0.85, -1.2};
    const std::string out = dir + "/panel";
    ASSERT_TRUE(PlaysInto(out, "--frames 5 --rate headset --eye-size 512x512"));
    const Json panel = Summary(out)["panel"];
    ASSERT_TRUE(panel.is_object()) << panel.dump();
    EXPECT_EQ(panel["size"], Json({600, 120}));
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(panel["centre"][i].get<double>(), centre[i], 1e-6) << panel.dump();
    }
    // Panel pixel (150.5, 79.5), counted from the top left, in the bar, where the pattern was
    // green: rows count down as columns count right.
    const auto spot = SeenByLeftEye(centre[0] + (150.5 - 300.0) * 0.001,
                                    centre[1] + (60.0 - 79.5) * 0.001, centre[2], 512);
    EXPECT_TRUE(Green(plain.At(spot.first, spot.second)));
    const Picture left = ReadPng(out + "/left.png");
    EXPECT_TRUE(Near(left.At(spot.first, spot.second), bar, 24));
    // Below the picture ahead, not over it.
    EXPECT_FALSE(Near(left.At(256, 256), bar, 60));

    // Aimed from between the eyes through the middle of the pixel three quarters across and
    // half way down; where that ray meets the panel's plane is worked out here afresh.
    const Json& pointer = panel["pointer"];
    const std::vector<double> origin = pointer["origin"].get<std::vector<double>>();
    const std::vector<double> direction = pointer["direction"].get<std::vector<double>>();
    EXPECT_NEAR(origin[1], 1.2, 1e-6);
    const double t = (centre[2] - origin[2]) / direction[2];
    const double aimedX = (origin[0] + t * direction[0] - centre[0]) / 0.001 + 300.0;
    const double aimedY = 60.0 - (origin[1] + t * direction[1] - centre[1]) / 0.001;
    EXPECT_NEAR(aimedX, 450.5, 0.01);
    EXPECT_NEAR(aimedY, 60.5, 0.01);
    ASSERT_TRUE(pointer["hit"].get<bool>()) << pointer.dump();
    const std::vector<double> pixel = pointer["pixel"].get<std::vector<double>>();
    EXPECT_LE(std::abs(std::floor(pixel[0]) - 450.0), 1.0) << pointer.dump();
    EXPECT_LE(std::abs(std::floor(pixel[1]) - 60.0), 1.0) << pointer.dump();
    const double length = std::sqrt(direction[0] * direction[0] + direction[1] * direction[1] +
                                    direction[2] * direction[2]);
    EXPECT_NEAR(pointer["distance"].get<double>(), t * length, 0.001);
}

// A headset and the controller family it comes with.
struct Family {
    const char* headset;
    const char* family;
};
void PrintTo(const Family& family, std::ostream* out) {
    *out << family.headset;
}

// One case a family: each runs the tool twice, which takes minutes under a sanitizer.
class StereonPlayControllersTest : public StereonPlayTest,
                                   public ::testing::WithParamInterface<Family> {};

// With --controllers the simulated headset's right controller (device 2) sweeps its pointer and
// presses its trigger, primary and secondary buttons, and the left one (device 1) its trigger.
// The player listens to each controller the library lists, draws its pointer ray, and answers
// each press with two pulses of 2000 us on the controller pressed. Without the option the
// headset has no controllers and the player hears nothing.
TEST_P(StereonPlayControllersTest, AreHeardDrawnAndBuzzed) {
    const Family& f = GetParam();
    const std::vector<std::string> rightHeard = {"down trigger", "up trigger",     "down primary",
                                                 "up primary",   "down secondary", "up secondary"};
    const std::vector<std::string> leftHeard = {"down trigger", "up trigger"};
    const auto lightness = [](const std::uint8_t* pixel) { return pixel[0] + pixel[1] + pixel[2]; };
    // Not smaller: llvmpipe's anisotropic filter takes a minute over the Rift's small model
    // parts once they shrink to a pixel or two, and a second at this size.
    constexpr std::uint32_t kEye = 256;
    const std::string options = std::string("--headset ") + f.headset +
                                " --frames 12 --rate headset --eye-size 256x256 --no-panel";
    const std::string bare = dir + "/" + f.headset + "-bare";
    ASSERT_TRUE(PlaysInto(bare, options));
    const Json none = Summary(bare)["controllers"];
    EXPECT_EQ(none["listed"], Json::array()) << none.dump();
    EXPECT_EQ(none["haptic_pulses"], Json::array()) << none.dump();

    const std::string out = dir + "/" + f.headset;
    const RunResult run = Play(options + " --controllers --out " + Quote(out));
    ASSERT_TRUE(Exited(run, 0));
    EXPECT_EQ(run.err.find("warning"), std::string::npos) << run.err;
    const Json controllers = Summary(out)["controllers"];
    const Json& listed = controllers["listed"];
    ASSERT_EQ(listed.size(), 2u) << controllers.dump();

    const Picture plain = ReadPng(bare + "/left.png");
    const Picture left = ReadPng(out + "/left.png");
    std::vector<double> origins[2];
    for (const Json& controller : listed) {
        const std::string hand = controller["hand"];
        SCOPED_TRACE(hand);
        ASSERT_TRUE(hand == "right" || hand == "left") << controller.dump();
        EXPECT_EQ(controller["family"], f.family);
        EXPECT_GT(controller["pose_updates"].get<int>(), 0);
        std::vector<std::string> heard;
        for (const Json& event : controller["buttons"]) {
            heard.push_back(event["event"].get<std::string>() + " " +
                            event["button"].get<std::string>());
            EXPECT_EQ(event["hand"], hand) << event.dump();
        }
        EXPECT_EQ(heard, hand == "right" ? rightHeard : leftHeard);

        // The pointer of the last pose heard, drawn into the left eye: a light line along it,
        // over the picture that the run without controllers showed. Where it crosses the
        // pattern's white labels it cannot be told apart, so a few points may miss it.
        const Json& pointer = controller["pointer"];
        ASSERT_TRUE(pointer.is_object()) << controller.dump();
        const std::vector<double> origin = pointer["origin"].get<std::vector<double>>();
        const std::vector<double> direction = pointer["direction"].get<std::vector<double>>();
        origins[hand == "right" ? 0 : 1] = origin;
        std::string missed;
        int seen = 0;
        for (double along = 0.25; along < 1.2; along += 0.125) {
            const auto [column, row] =
                SeenByLeftEye(origin[0] + along * direction[0], origin[1] + along * direction[1],
                              origin[2] + along * direction[2], kEye);
            ASSERT_TRUE(column >= 1 && column < kEye - 1 && row >= 1 && row < kEye - 1)
                << along << ": " << column << "," << row;
            int lift = -765;
            for (std::uint32_t v = row - 1; v <= row + 1; ++v) {
                for (std::uint32_t u = column - 1; u <= column + 1; ++u) {
                    lift = std::max(lift, lightness(left.At(u, v)) - lightness(plain.At(u, v)));
                }
            }
            if (lift >= 150) {
                ++seen;
            } else {
                missed +=
                    " " + std::to_string(along) + " m (lighter by " + std::to_string(lift) + ")";
            }
        }
        EXPECT_GE(seen, 6) << "missed:" << missed;
    }
    // Held in front of and below the eyes, the right hand on the right.
    ASSERT_FALSE(origins[0].empty() || origins[1].empty()) << controllers.dump();
    EXPECT_GT(origins[0][0], origins[1][0]);
    for (const std::vector<double>& origin : origins) {
        EXPECT_LT(origin[1], 1.2);
        EXPECT_LT(origin[2], 0.0);
    }

    // Two pulses for each press taken up, on the device pressed.
    std::vector<int> pulses(3, 0);
    for (const Json& pulse : controllers["haptic_pulses"]) {
        const int device = pulse["device"].get<int>();
        ASSERT_TRUE(device == 1 || device == 2) << pulse.dump();
        EXPECT_EQ(pulse["microseconds"].get<int>(), 2000);
        ++pulses[device];
    }
    EXPECT_EQ(pulses[2], 6) << controllers["haptic_pulses"].dump();
    EXPECT_EQ(pulses[1], 2) << controllers["haptic_pulses"].dump();
}

INSTANTIATE_TEST_SUITE_P(Families, StereonPlayControllersTest,
                         ::testing::Values(Family{"vive", "vive"}, Family{"rift", "rift"},
                                           Family{"wmr", "windows-mr"}),
                         [](const ::testing::TestParamInfo<Family>& info) {
                             return std::string(info.param.headset);
                         });

TEST_F(StereonPlayTest, WhatTheLibraryCannotDrawIsSaidNotMisdrawn) {
    VideoPlan plan;
    plan.frames = 3;
    plan.spherical = "cubemap";
    const std::string cubemap = MakeVideo("cubemap.mp4", plan);
    RunResult run = Play(Quote(cubemap) + " --out " + Quote(dir + "/o"));
    EXPECT_TRUE(Exited(run, 3));
    EXPECT_TRUE(Says(run.err, cubemap + " is cubemap 360 video, which the library cannot draw"));
    const std::string oneFrame = " --rate headset --frames 1 --eye-size 32x32 --out ";
    run = Play(Quote(cubemap) + " --projection equirect" + oneFrame + Quote(dir + "/o"));
    EXPECT_TRUE(Exited(run, 0));
    EXPECT_TRUE(Says(run.err, "warning: " + cubemap + " is cubemap 360 video, drawn as equirect"));

    // Eyes on alternate lines: played as mono, and said so.
    plan.spherical.clear();
    plan.stereo = "interleaved lines";
    const std::string lines = MakeVideo("lines.mkv", plan);
    run = Play(Quote(lines) + oneFrame + Quote(dir + "/lines"));
    EXPECT_TRUE(Exited(run, 0));
    EXPECT_TRUE(
        Says(run.err, "holds its eyes as interleaved lines, which the library cannot show"));
    EXPECT_EQ(Summary(dir + "/lines")["layout"], "mono");

    // A tile of the left half's upper half is drawn centred ahead: said before it plays.
    plan.stereo.clear();
    plan.spherical = "equirect";
    plan.tile[2] = 0.5;
    plan.tile[3] = 0.5;
    const std::string offCentre = MakeVideo("upper-left.mp4", plan);
    run = Play(Quote(offCentre) + oneFrame + Quote(dir + "/upper-left"));
    EXPECT_TRUE(Exited(run, 0));
    EXPECT_TRUE(Says(run.err, "covers 180x90 degrees centred 90 degrees left and 45 degrees up"));
    EXPECT_EQ(Summary(dir + "/upper-left")["fov"], Json({180, 90}));
}

}  // namespace
