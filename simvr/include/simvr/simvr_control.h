/* Control interface of the simulated headset runtime (vrclient.so).
 *
 * Tests and tools link the runtime library directly and drive it through these functions; an
 * application in the same process that loads the runtime through the OpenVR client gets the
 * same loaded library, so both see one state. Every function is thread-safe and accepts bad
 * arguments (null pointers, unknown devices, unknown eyes) with a defined result: 0 / false /
 * -1, never a crash.
 *
 * Device indices are OpenVR's: 0 is the headset. Matrices are OpenVR's HmdMatrix34_t layout,
 * 12 floats, three rows of four (row-major, translation in the last column). Angles are degrees;
 * yaw turns about +Y (positive turns left), pitch about +X (positive looks up), roll about +Z.
 */
#ifndef SIMVR_CONTROL_H
#define SIMVR_CONTROL_H

#include <stdint.h>

#if defined(_WIN32)
#define SIMVR_API __declspec(dllexport)
#else
#define SIMVR_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Headset kinds. The tracking system names are "lighthouse", "oculus", "holographic" and, for
 * the unknown one, "simvr". */
enum simvr_profile {
    SIMVR_PROFILE_VIVE = 0,
    SIMVR_PROFILE_RIFT = 1,
    SIMVR_PROFILE_WINDOWS_MR = 2,
    SIMVR_PROFILE_UNKNOWN = 3
};

/* Device layout every profile starts with: headset 0, left controller 1, right controller 2;
 * the Vive adds two base stations (3 and 4). */
enum { SIMVR_DEVICE_HMD = 0, SIMVR_DEVICE_LEFT_CONTROLLER = 1, SIMVR_DEVICE_RIGHT_CONTROLLER = 2 };

/* What the call log records, in the order the calls were made. */
enum simvr_call_kind {
    SIMVR_CALL_INIT = 1, /* result: the EVRInitError answered; int_value: app type */
    SIMVR_CALL_CLEANUP = 2,
    SIMVR_CALL_WAIT_GET_POSES = 3, /* frame: the new frame; result */
    SIMVR_CALL_SUBMIT = 4,         /* eye, handle, texture_type, color_space, bounds, flags;
                                      int_value: simvr_readback; text: why a read-back failed */
    SIMVR_CALL_POST_PRESENT_HANDOFF = 5,
    SIMVR_CALL_CLEAR_LAST_SUBMITTED_FRAME = 6,
    SIMVR_CALL_FADE_TO_COLOR = 7,    /* values: seconds, r, g, b, a; int_value: background */
    SIMVR_CALL_FADE_GRID = 8,        /* values[0]: seconds; int_value: fade in */
    SIMVR_CALL_HAPTIC_PULSE = 9,     /* device, axis, int_value: duration in microseconds */
    SIMVR_CALL_SETTINGS_SET = 10,    /* section, key, value_type, int_value/values[0]/text */
    SIMVR_CALL_SETTINGS_SYNC = 11,   /* int_value: force; result: EVRSettingsError */
    SIMVR_CALL_SETTINGS_REMOVE = 12, /* section, key (empty for a whole section) */
    SIMVR_CALL_CHAPERONE = 13,       /* text: "ForceBoundsVisible" (int_value), "ReloadInfo",
                                        "SetSceneColor" (values r, g, b, a) */
    SIMVR_CALL_ACKNOWLEDGE_QUIT_EXITING = 14,
    SIMVR_CALL_ACKNOWLEDGE_QUIT_USER_PROMPT = 15,
    SIMVR_CALL_SET_TRACKING_SPACE = 16, /* int_value: origin */
    SIMVR_CALL_OTHER = 17,              /* text: method name; int_value: its bool argument */
    SIMVR_CALL_KIND_COUNT = 18
};

/* What became of a submitted image's read-back. */
enum simvr_readback {
    SIMVR_READBACK_NOT_ASKED = 0, /* read-back off, or the submit was refused */
    SIMVR_READBACK_DONE = 1,
    SIMVR_READBACK_FAILED = 2 /* the eye's image was cleared */
};

/* The binding of the OpenGL context current on a submitting thread. */
enum simvr_gl_context {
    SIMVR_GL_CONTEXT_NONE = 0,
    SIMVR_GL_CONTEXT_EGL = 1,
    SIMVR_GL_CONTEXT_GLX = 2
};

enum simvr_value_type {
    SIMVR_VALUE_NONE = 0,
    SIMVR_VALUE_BOOL = 1,
    SIMVR_VALUE_INT32 = 2,
    SIMVR_VALUE_FLOAT = 3,
    SIMVR_VALUE_STRING = 4
};

typedef struct simvr_call {
    uint64_t sequence;    /* position since the last reset, from 0 (also counts dropped ones) */
    uint64_t frame;       /* compositor frame when the call was made */
    int32_t kind;         /* simvr_call_kind */
    int32_t result;       /* error code the call returned, 0 for none */
    uint32_t device;      /* haptic pulse */
    uint32_t axis;        /* haptic pulse */
    uint32_t eye;         /* submit */
    uint32_t flags;       /* submit: EVRSubmitFlags */
    uint64_t handle;      /* submit: Texture_t::handle */
    int32_t texture_type; /* submit: ETextureType, -1 when no texture was given */
    int32_t color_space;  /* submit: EColorSpace */
    int32_t has_bounds;   /* submit: whether bounds were given */
    int32_t value_type;   /* settings: simvr_value_type */
    int32_t gl_context;   /* submit: simvr_gl_context */
    float bounds[4];      /* submit: uMin, vMin, uMax, vMax */
    float values[5];
    int64_t int_value;
    char section[64];
    char key[64];
    char text[128];
} simvr_call;

typedef struct simvr_setting {
    int32_t type; /* simvr_value_type; SIMVR_VALUE_NONE when not set */
    int32_t bool_value;
    int32_t int_value;
    float float_value;
    char string_value[256];
} simvr_setting;

/* ---- State as a whole ------------------------------------------------------------------- */

/* Back to the defaults: Vive profile, headset present, 64 x 64 target, 90 Hz, 100 degree
 * symmetric field of view, 0.064 m IPD, free-running WaitGetPoses, head at the origin looking
 * down -Z, read-back off, render models loading for 2 polls, no injected failures; the call log,
 * events, settings, eye images and counters emptied. Render models still held by the caller stay
 * valid until freed. A connection that is open stays open with its application type, and the
 * frame count restarts; waits held by simvr_set_wait_blocked are released. */
SIMVR_API void simvr_reset(void);

/* Applies a profile: rebuilds the devices and their properties (keeps size, rate, FOV, IPD,
 * pacing). Returns 1, or 0 for an unknown profile. */
SIMVR_API int simvr_set_profile(int profile);
SIMVR_API int simvr_get_profile(void);

/* VR_IsHmdPresent's answer, and Init's: without a headset Init fails with 108 (utility
 * applications excepted). */
SIMVR_API void simvr_set_hmd_present(int present);
/* Init answers this error (0 = succeed normally). */
SIMVR_API void simvr_set_init_error(int error);
/* Withdraws (0) or restores (1) an interface version, e.g. "IVRSystem_017". Returns 0 for a
 * version the runtime does not know. */
SIMVR_API int simvr_set_interface_enabled(const char* version, int enabled);

SIMVR_API int simvr_is_initialized(void);
SIMVR_API int simvr_get_init_count(void);
SIMVR_API int simvr_get_cleanup_count(void);
/* Of the open connection, else of the last Init since the reset; -1 when there is none. */
SIMVR_API int simvr_get_application_type(void);

/* ---- Display ----------------------------------------------------------------------------- */

SIMVR_API void simvr_set_render_target_size(uint32_t width, uint32_t height);
/* Refresh rate in Hz, 1 to 1000. Also Prop_DisplayFrequency_Float of the headset. */
SIMVR_API int simvr_set_refresh_rate(float hz);
/* Half-angles of the LEFT eye in degrees (each in (0, 89)); the right eye is its mirror image. */
SIMVR_API int simvr_set_fov(float left_deg, float right_deg, float up_deg, float down_deg);
/* Eye distance in metres (>= 0). Also Prop_UserIpdMeters_Float. */
SIMVR_API int simvr_set_ipd(float metres);

/* ---- Timing ------------------------------------------------------------------------------ */

/* 1: WaitGetPoses sleeps until the next vsync of the refresh rate; the frame number is the
 * vsync count since Init. 0 (default): it returns at once and the frame number counts calls. */
SIMVR_API void simvr_set_paced(int paced);
/* 1: WaitGetPoses blocks (a compositor that stopped returning) until set back to 0 or reset.
 * Cleanup also ends the wait: the caller gets VRCompositorError_RequestFailed (no connection),
 * and Cleanup returns only after every such caller has left. */
SIMVR_API void simvr_set_wait_blocked(int blocked);
/* 1: Submit blocks before it looks at the texture, with the same release, reset and Cleanup
 * rules as a blocked WaitGetPoses (after Cleanup it returns VRCompositorError_RequestFailed). */
SIMVR_API void simvr_set_submit_blocked(int blocked);
/* Threads held in a blocked Submit now. */
SIMVR_API int simvr_get_blocked_submit_count(void);
/* Threads inside WaitGetPoses now (blocked, or waiting for the next vsync) or in a blocked
 * Submit. */
SIMVR_API int simvr_get_waiting_count(void);
SIMVR_API uint64_t simvr_get_frame_index(void);

/* ---- Head pose --------------------------------------------------------------------------- */

SIMVR_API void simvr_set_head_pose(float yaw, float pitch, float roll, float x, float y, float z);
/* Turns the head about +Y at this rate, on the simulated clock (frame / refresh rate). */
SIMVR_API void simvr_set_head_yaw_rate(float degrees_per_second);
/* Any device's pose; for the headset this replaces the scripted pose until
 * simvr_set_head_pose is called again. */
SIMVR_API int simvr_set_device_pose(uint32_t device, const float matrix34[12]);
SIMVR_API int simvr_set_device_pose_ypr(uint32_t device, float yaw, float pitch, float roll,
                                        float x, float y, float z);
SIMVR_API int simvr_set_device_pose_valid(uint32_t device, int valid);
/* The pose a device has now (the headset's at the current frame). */
SIMVR_API int simvr_get_device_pose(uint32_t device, float matrix34[12]);

/* ---- Devices and controllers ------------------------------------------------------------- */

SIMVR_API int simvr_set_device_connected(uint32_t device, int connected);
/* Adds a controller of the current profile with this role (0 none, 1 left, 2 right); returns
 * its index, or -1 when all 16 are taken. */
SIMVR_API int simvr_add_controller(int role);
/* The role GetControllerRoleForTrackedDeviceIndex reports (0 = not yet known). */
SIMVR_API int simvr_set_controller_role(uint32_t device, int role);
SIMVR_API int simvr_set_controller_buttons(uint32_t device, uint64_t pressed, uint64_t touched);
SIMVR_API int simvr_set_controller_axis(uint32_t device, uint32_t axis, float x, float y);
SIMVR_API uint32_t simvr_get_controller_packet(uint32_t device);
/* EDeviceActivityLevel: -1 unknown, 0 idle, 1 user interaction (default), 2 timeout, 3 standby */
SIMVR_API int simvr_set_activity_level(uint32_t device, int level);

SIMVR_API int simvr_set_property_string(uint32_t device, int prop, const char* value);
SIMVR_API int simvr_set_property_int32(uint32_t device, int prop, int32_t value);
SIMVR_API int simvr_set_property_float(uint32_t device, int prop, float value);
SIMVR_API int simvr_set_property_bool(uint32_t device, int prop, int value);
SIMVR_API int simvr_set_property_uint64(uint32_t device, int prop, uint64_t value);
SIMVR_API int simvr_set_property_matrix34(uint32_t device, int prop, const float value[12]);
SIMVR_API int simvr_remove_property(uint32_t device, int prop);

/* ---- Events ------------------------------------------------------------------------------ */

/* Queues an event for PollNextEvent(WithPose). `data` (up to 24 bytes, may be null) fills
 * VREvent_t::data. The pose delivered with it is the device's pose at the time of the push.
 * Events queued before Init wait for the connection; Cleanup drops those not yet polled. */
SIMVR_API int simvr_push_event(uint32_t type, uint32_t device, const void* data, uint32_t size);
/* VREvent_ButtonPress (200) / ButtonUnpress (201) / ButtonTouch (202) / ButtonUntouch (203)
 * of `button` (EVRButtonId) on a controller. The controller's state follows, as with real
 * hardware: press sets the button's bit in ulButtonPressed, unpress clears it. `pose34` may be
 * null for the device's current pose. */
SIMVR_API int simvr_push_button_event(uint32_t type, uint32_t device, uint32_t button,
                                      const float pose34[12]);
/* VREvent_Quit (700). */
SIMVR_API int simvr_push_quit(void);
SIMVR_API int simvr_get_pending_event_count(void);

/* ---- Render models ----------------------------------------------------------------------- */

/* LoadRenderModel_Async / LoadTexture_Async answer Loading this many times per model name or
 * texture id before the result. */
SIMVR_API void simvr_set_model_load_polls(int polls);
/* Makes loads of `name` end with `error` (an EVRRenderModelError) after the loading polls;
 * 0 removes the failure. */
SIMVR_API int simvr_set_model_error(const char* name, int error);
SIMVR_API int simvr_set_texture_error(int32_t texture_id, int error);
/* Models and textures handed out and not yet freed; frees of pointers the runtime never handed
 * out (or freed twice). */
SIMVR_API int simvr_get_live_model_count(void);
SIMVR_API int simvr_get_live_texture_count(void);
SIMVR_API int simvr_get_invalid_free_count(void);
/* How often LoadRenderModel_Async was asked for `name` (null: all names). */
SIMVR_API int simvr_get_model_load_calls(const char* name);

/* ---- Submitted images -------------------------------------------------------------------- */

/* 1: Submit reads each OpenGL eye texture back (RGBA8) with the caller's context, keeping the
 * last image per eye. The context is left as it was, its GL error state included: an error the
 * application had pending is still there for its glGetError, and the read adds none. Reading
 * needs OpenGL 4.5 or GL_ARB_direct_state_access. A multisample renderbuffer submitted with
 * Submit_GlRenderBuffer is resolved first, into a single-sample one of the same format, as a
 * compositor would. The image is the part of the texture the submit's bounds select: u runs
 * across from uMin to uMax, v up the rows from vMin to vMax (v = 0 is the first row, which
 * OpenGL keeps at the bottom), so bounds the wrong way round mirror it; a pixel is in when its
 * centre is, and what lies outside the texture is left out. A submitted image that cannot be
 * read (no current context, a context without direct state access, a name that is no texture,
 * a multisample or non-2D texture, an integer, depth or stencil format, a non-OpenGL texture,
 * bounds that select no pixel) clears that eye's image, so the queries below fail until the
 * next good one; its call record says why. */
SIMVR_API void simvr_set_readback(int enabled);
/* Size and frame of the last image of `eye`; 0 when there is none. Pointers may be null. */
SIMVR_API int simvr_get_eye_image_info(uint32_t eye, uint32_t* width, uint32_t* height,
                                       uint64_t* frame);
/* Copies the image, rows bottom-up as OpenGL stores them, 4 bytes a pixel. Returns the bytes
 * copied, or 0 when there is no image or `size` is too small. */
SIMVR_API uint32_t simvr_copy_eye_image(uint32_t eye, void* buffer, uint32_t size);
/* One pixel; y counts from the bottom row as in OpenGL. */
SIMVR_API int simvr_get_eye_pixel(uint32_t eye, uint32_t x, uint32_t y, uint8_t rgba[4]);
/* Writes the image as an RGBA PNG, top row first. 1 on success. */
SIMVR_API int simvr_write_eye_png(uint32_t eye, const char* path);

/* ---- Call log and records ---------------------------------------------------------------- */

/* The log keeps the first `capacity` calls after a reset or clear (default 16384; storage is
 * reserved once, so recording does not allocate per frame; at most 1048576); later ones are only
 * counted. */
SIMVR_API void simvr_set_call_log_capacity(uint32_t capacity);
SIMVR_API void simvr_clear_calls(void);
SIMVR_API uint32_t simvr_get_call_count(void);
SIMVR_API int simvr_get_call(uint32_t index, simvr_call* call);
/* Every call of a kind since the last reset or clear, logged or not. */
SIMVR_API uint64_t simvr_count_calls(int kind);

/* The settings store as IVRSettings left it. Returns 1 when the key is set. Sync writes the
 * store to steamvr.vrsettings in the config directory (VR_CONFIG_PATH, else the path registry's),
 * when forced or changed since the last write, and Init reads it back in: a setting the store
 * already holds wins over the file's. simvr_reset empties the store, not the file. */
SIMVR_API int simvr_get_setting(const char* section, const char* key, simvr_setting* value);
SIMVR_API int simvr_get_bounds_forced_visible(void);
/* Colour of the last FadeToColor (foreground); 0 when none was made. */
SIMVR_API int simvr_get_fade_color(float rgba[4]);

#ifdef __cplusplus
}
#endif

#endif /* SIMVR_CONTROL_H */
