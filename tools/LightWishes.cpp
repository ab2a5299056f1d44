#include "LightWishes.h"

#include <initializer_list>

#include "Failure.h"
#include "Values.h"
#include "huelib/ColorConversion.h"

namespace huectl {
namespace {

constexpr unsigned kTransitionStepMilliseconds = 100;
constexpr unsigned kFullBrightness = 254;

struct Wish {
    const char* option;
    bool is_there;
};

// The first of the wishes that is there; null when none is.
const char* first_of(std::initializer_list<Wish> wishes) {
    for (const Wish& wish : wishes) {
        if (wish.is_there) {
            return wish.option;
        }
    }
    return nullptr;
}

// Refuses a second wish beside the first.
void expect_one_of(std::initializer_list<Wish> wishes) {
    const char* first = nullptr;
    for (const Wish& wish : wishes) {
        if (wish.is_there && first != nullptr) {
            throw Failure(ExitCode::usage, std::string(first) + " and " + wish.option +
                                               " contradict each other; leave one out");
        }
        first = wish.is_there ? wish.option : first;
    }
}

std::uint8_t transition_of(const std::string& text) {
    const unsigned time = number_of("--transition", text, kMilliseconds);
    if (time % kTransitionStepMilliseconds != 0) {
        throw Failure(ExitCode::usage, "--transition: " + text +
                                           " is not a multiple of 100 (0..25500 milliseconds)");
    }
    return static_cast<std::uint8_t>(time / kTransitionStepMilliseconds);
}

// Reads the options once, so that all of them are judged before the first step acts.
class Plan final {
  public:
    explicit Plan(const LightOptions& options) : options_(options) {
        if (options.brightness) {
            brightness_ = number_of("--brightness", *options.brightness, kPercent);
        }
        if (options.loop) {
            loop_ = switch_of("--loop", *options.loop);
        }
        if (options.transition) {
            transition_ = transition_of(*options.transition);
        }
        expect_no_contradiction();
    }

    std::vector<Step> steps() {
        add_name();
        add("--on", options_.on, [t = transition_](HueLight& light) { return light.On(t); });
        add_loop(false);
        add_temperature();
        add_colour();
        add_brightness();
        add_loop(true);
        add("--blink", options_.blink, [](HueLight& light) { return light.alert(); });
        add_flash();
        add(options_.off ? "--off" : "--brightness", switches_off(),
            [t = transition_](HueLight& light) { return light.Off(t); });
        return std::move(steps_);
    }

  private:
    // A brightness of 0 is a light that is off, for a bridge's light as for a dimmer's.
    bool switches_off() const { return options_.off || brightness_ == 0U; }

    void expect_no_contradiction() const {
        const LightOptions& o = options_;
        expect_one_of({{"--kelvin", o.kelvin.has_value()},
                       {"--mired", o.mired.has_value()},
                       {"--rgb", o.rgb.has_value()},
                       {"--hsv", o.hsv.has_value()},
                       {"--xy", o.xy.has_value()}});
        const char* changed = first_of({{"--on", o.on},
                                        {"--brightness", brightness_.value_or(0) > 0},
                                        {"--kelvin", o.kelvin.has_value()},
                                        {"--mired", o.mired.has_value()},
                                        {"--rgb", o.rgb.has_value()},
                                        {"--hsv", o.hsv.has_value()},
                                        {"--xy", o.xy.has_value()},
                                        {"--loop", o.loop.has_value()}});
        if (changed != nullptr) {
            expect_one_of(
                {{"--off", o.off}, {"--brightness 0", brightness_ == 0U}, {changed, true}});
        }
        const bool takes_time =
            switches_off() || o.on || brightness_ || o.kelvin || o.mired || o.rgb || o.hsv || o.xy;
        if (o.transition && !takes_time) {
            throw Failure(ExitCode::usage,
                          "--transition: there is nothing that takes time; add --on, --off, "
                          "--brightness, a temperature or a colour");
        }
    }

    void add(const char* option, bool is_wanted, std::function<bool(HueLight&)> act,
             Capability needs = Capability::none) {
        if (is_wanted) {
            steps_.push_back({option, needs, std::move(act)});
        }
    }

    void add_name() {
        if (options_.name) {
            add("--name", true, [name = name_of("--name", *options_.name)](HueLight& light) {
                return light.setName(name);
            });
        }
    }

    void add_loop(bool on) {
        add(
            "--loop", loop_ == on, [on](HueLight& light) { return light.setColorLoop(on); },
            Capability::colour);
    }

    void add_temperature() {
        const auto add_mired = [this](const char* option, unsigned mired) {
            add(
                option, true,
                [mired, t = transition_](HueLight& light) {
                    return light.setColorTemperature(mired, t);
                },
                Capability::temperature);
        };
        if (options_.kelvin) {
            add_mired("--kelvin", ColorConversion::reciprocalTemperature(
                                      number_of("--kelvin", *options_.kelvin, kKelvin)));
        }
        if (options_.mired) {
            add_mired("--mired", number_of("--mired", *options_.mired, kMired));
        }
    }

    void add_colour() {
        if (options_.rgb) {
            add(
                "--rgb", true,
                [c = rgb_of("--rgb", *options_.rgb), t = transition_](HueLight& light) {
                    return light.setColorRGB(c.r, c.g, c.b, t);
                },
                Capability::colour);
        }
        if (options_.hsv) {
            add(
                "--hsv", true,
                [c = hsv_of("--hsv", *options_.hsv), t = transition_](HueLight& light) {
                    return light.setColorHSV(c, t);
                },
                Capability::colour);
        }
        if (options_.xy) {
            add(
                "--xy", true,
                [c = xy_of("--xy", *options_.xy), t = transition_](HueLight& light) {
                    return light.setColorXY(c, t);
                },
                Capability::colour);
        }
    }

    void add_brightness() {
        const unsigned bri = brightness_.value_or(0) * kFullBrightness / 100;
        add("--brightness", bri > 0,
            [bri, t = transition_](HueLight& light) { return light.setBrightness(bri, t); });
    }

    // Six digits are a colour, fewer a temperature.
    void add_flash() {
        if (!options_.flash) {
            return;
        }
        constexpr std::size_t kColourDigits = 6;
        if (options_.flash->size() < kColourDigits) {
            const unsigned kelvin = number_of("--flash", *options_.flash, kKelvin);
            add(
                "--flash", true,
                [mired = ColorConversion::reciprocalTemperature(kelvin)](HueLight& light) {
                    return light.alertTemperature(mired);
                },
                Capability::temperature);
            return;
        }
        add(
            "--flash", true,
            [c = rgb_of("--flash", *options_.flash)](HueLight& light) {
                return light.alertRGB(c.r, c.g, c.b);
            },
            Capability::colour);
    }

    const LightOptions& options_;
    std::optional<unsigned> brightness_;
    std::optional<bool> loop_;
    std::uint8_t transition_ = HueLight::kDefaultTransition;
    std::vector<Step> steps_;
};

}  // namespace

std::vector<Step> steps_of(const LightOptions& options) {
    return Plan(options).steps();
}

}  // namespace huectl
