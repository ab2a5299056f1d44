/// The one sequence behind all alerts: remember, show, wait, blink, wait, go back.
#pragma once

#include <functional>
#include <initializer_list>
#include <string_view>

class HueLight;

/// Transition of every step of an alert: 100 ms.
constexpr unsigned char kAlertTransition = 1;

/// Shows what `showAlert` sets on `light`, blinks once, and goes back to the colour and the on/off
/// state that the bridge reported at the start. Blocks for 1.72 s and the requests.
///
/// False, without a request but the refresh, when the light's colour mode is not among
/// `acceptedModes` ("hs", "xy", "ct"); false, with the light left as it is, when `showAlert` or the
/// blinking fails, or when the light has no strategy to go back with.
bool runAlert(HueLight& light, std::initializer_list<std::string_view> acceptedModes,
              const std::function<bool()>& showAlert);
