// Names of OpenVR enum values, as the runtime's *NameFromEnum calls answer them.
#pragma once

#include "stnvr/vr_types.h"

namespace simvr {

const char* PropertyErrorName(vr::ETrackedPropertyError error);
const char* EventTypeName(vr::EVREventType type);
const char* ButtonName(vr::EVRButtonId button);
const char* AxisTypeName(vr::EVRControllerAxisType type);
const char* RenderModelErrorName(vr::EVRRenderModelError error);
const char* SettingsErrorName(vr::EVRSettingsError error);
const char* InitErrorId(vr::EVRInitError error);
const char* InitErrorDescription(vr::EVRInitError error);

}  // namespace simvr
