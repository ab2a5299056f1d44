/// The sequence of all alerts: refresh, show, wait, blink, wait, restore.
#pragma once

#include <functional>
#include <initializer_list>
#include <string_view>

class HueLight;

/// Transition of every step of an alert: 100 ms.
constexpr unsigned char kAlertTransition = 1;

/// Shows what `showAlert` sets on `light`, blinks once, and restores the colour and the on/off
/// state that the bridge reported at the start. Blocks for 1.72 s and the requests.
///
/// False, with no request but the refresh, if the light's colour mode is not among `acceptedModes`
/// ("hs", "xy", "ct"). False, with the light left as it is, if `showAlert` or the blinking fails.
/// False if a light that was on is not restored as confirmed, or the light has no strategy for it.
bool runAlert(HueLight& light, std::initializer_list<std::string_view> acceptedModes,
              const std::function<bool()>& showAlert);
