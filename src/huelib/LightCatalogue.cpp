#include "huelib/LightCatalogue.h"

#include <algorithm>
#include <cstddef>

namespace LightCatalogue {

namespace {

// A row of a table: the models that share a property. Refers to an array with static storage.
class Models final {
  public:
    template <std::size_t count>
    constexpr Models(const std::string_view (&models)[count])
        : first(models), last(models + count) {}

    bool contain(std::string_view modelId) const { return std::find(first, last, modelId) != last; }

  private:
    const std::string_view* first;
    const std::string_view* last;
};

constexpr std::string_view kColorBModels[] = {
    "LCT001",       "LCT002",       "LCT003",       "LCT007",       "LLM001",       "5063330P7",
    "5063331P7",    "4090331P9_01", "4090331P9_02", "1746330P7",    "5060731P7_01", "5060731P7_02",
    "5060731P7_03", "5060731P7_04", "5060731P7_05", "1746630P7",    "1746230P7",    "5060730P7_01",
    "5060730P7_02", "5060730P7_03", "5060730P7_04", "5060730P7_05", "LCF003",       "LCL001",
    "LCL002",       "LCL003",       "5063230P7",    "4080248P9",    "5060931P7_01", "5060931P7_02",
    "5060931P7_03", "5060931P7_04", "5061031P7_01", "5061031P7_02", "5061031P7_03", "5063131P7",
    "LCS001",       "LCA001",       "1741430P7",    "LCX003",       "LCA006",       "929003045401"};

constexpr std::string_view kColorCModels[] = {
    "LCT010",       "LCT011",       "LCT014",       "LCT015",       "LCT016",       "LLC020",
    "LLC024",       "LST002",       "LCL001",       "LCG002",       "LCT024",       "LCX004",
    "915005986901", "915005987101", "LCX015",       "929003116301", "929003115901", "929003115701",
    "915005997801", "LCA008",       "929003053001", "929003128401", "929003128501", "LCA004"};

constexpr std::string_view kColorCTemperatureModels[] = {
    "LCE002",          "GL-C-007",        "LCT026",          "7602031P7",    "7602031U7",
    "7602031PU",       "7602031J6",       "LCP001",          "LCP002",       "4090331P9_01",
    "4090331P9_02",    "929003053301_01", "929003053301_02", "4090330P9_01", "4090330P9_02",
    "929003052501_01", "929003052501_02"};

constexpr std::string_view kColorAModels[] = {
    "LST001", "LLC006", "LLC007",    "LLC010",          "LLC011",      "LLC012",
    "LLC013", "LST002", "7820130P7", "NLG-RGBW light ", "929002966501"};

constexpr std::string_view kNoColorModels[] = {"LWB004", "LWB006", "LWB007", "LWB010",
                                               "LWB014", "LWA001", "LWE002", "LWG004",
                                               "RB245",  "LWA011", "LWO003"};

constexpr std::string_view kTemperatureModels[] = {
    "LLM010",     "LLM011",    "LLM012",    "LTW001",    "LTW004",    "LTW010",    "LTW012",
    "LTW013",     "LTW014",    "5633031P9", "3418331P6", "5042148P9", "3216231P6", "5042131P9",
    "B40 DIM Z3", "5045131P7", "LCT012",    "LTA001",    "LTA011"};

struct ModelGroup {
    LightClass lightClass;
    Models models;
};

constexpr LightClass kColorA{ColorType::ColorA, TemperatureControl::none, HueControl::simple};
constexpr LightClass kColorB{ColorType::ColorB, TemperatureControl::extended, HueControl::extended};
constexpr LightClass kColorC{ColorType::ColorC, TemperatureControl::extended, HueControl::extended};
constexpr LightClass kColorCTemperature{ColorType::ColorCTemperature, TemperatureControl::extended,
                                        HueControl::extended};
constexpr LightClass kNoColor{ColorType::NoColor, TemperatureControl::none, HueControl::none};
constexpr LightClass kSwitch{ColorType::NoColor, TemperatureControl::none, HueControl::none, false};
constexpr LightClass kTemperature{ColorType::Temperature, TemperatureControl::simple,
                                  HueControl::none};

// In the order in which they are searched.
constexpr ModelGroup kModelGroups[] = {
    {kColorB, kColorBModels},
    {kColorC, kColorCModels},
    {kColorCTemperature, kColorCTemperatureModels},
    {kColorA, kColorAModels},
    {kNoColor, kNoColorModels},
    {kTemperature, kTemperatureModels},
};

struct LightType {
    std::string_view type;
    std::string_view gamut;  // empty for any
    LightClass lightClass;
};

// In the order in which they are searched.
constexpr LightType kLightTypes[] = {
    {"On/Off light", "", kSwitch},
    {"On/Off plug-in unit", "", kSwitch},
    {"Dimmable light", "", kNoColor},
    {"Dimmable plug-in unit", "", kNoColor},
    {"Color temperature light", "", kTemperature},
    {"Color light", "", kColorA},
    {"Extended color light", "C", kColorC},
    {"Extended color light", "", kColorB},
};

struct ClassName {
    ColorType colorType;
    std::string_view name;
};

constexpr ClassName kClassNames[] = {
    {ColorType::NoColor, "white"},   {ColorType::Temperature, "temperature"},
    {ColorType::ColorA, "colour A"}, {ColorType::ColorB, "colour B"},
    {ColorType::ColorC, "colour C"}, {ColorType::ColorCTemperature, "colour C, temperature"},
};

constexpr std::string_view kE27WacaPicture[] = {"LCT001", "LCT007", "LCT010", "LCT014", "LTW010",
                                                "LTW001", "LTW004", "LTW015", "LWB004", "LWB006"};
constexpr std::string_view kE27WhitePicture[] = {"LWB010", "LWB014"};
constexpr std::string_view kE14Picture[] = {"LCT012", "LTW012"};
constexpr std::string_view kBr30Picture[] = {"LCT002"};
constexpr std::string_view kBr30SlimPicture[] = {"LCT011", "LTW011"};
constexpr std::string_view kGu10Picture[] = {"LCT003"};
constexpr std::string_view kGu10PerfectfitPicture[] = {"LTW013"};
constexpr std::string_view kLightstripPicture[] = {"LST001", "LST002"};
constexpr std::string_view kIrisPicture[] = {"LLC006 ", "LLC010"};
constexpr std::string_view kBloomPicture[] = {"LLC005", "LLC011", "LLC012", "LLC007"};
constexpr std::string_view kAuraPicture[] = {"LLC014"};
constexpr std::string_view kStorylightPicture[] = {"LLC013"};
constexpr std::string_view kGoPicture[] = {"LLC020"};
constexpr std::string_view kBeyondCeilingPendantTablePicture[] = {"HBL001", "HBL002", "HBL003"};
constexpr std::string_view kImpulsePicture[] = {"HIL001 ", "HIL002"};
constexpr std::string_view kEntityPicture[] = {"HEL001 ", "HEL002"};
constexpr std::string_view kPhoenixCeilingPendantTableWallPicture[] = {"HML001", "HML002", "HML003",
                                                                       "HML004", "HML005"};
constexpr std::string_view kPhoenixDownPicture[] = {"HML006"};
constexpr std::string_view kPendantPicture[] = {"LTP001", "LTP002", "LTP003",
                                                "LTP004", "LTP005", "LTD003"};
constexpr std::string_view kCeilingPicture[] = {"LDF002", "LTF001", "LTF002", "LTC001", "LTC002",
                                                "LTC003", "LTC004", "LTD001", "LTD002", "LDF001"};
constexpr std::string_view kFloorPicture[] = {"LDD002 ", "LFF001"};
constexpr std::string_view kTablePicture[] = {"LDD001 ", "LTT001"};
constexpr std::string_view kRecessedPicture[] = {"LDT001 ", "MWM001"};
constexpr std::string_view kBridgeV1Picture[] = {"BSB001"};
constexpr std::string_view kBridgeV2Picture[] = {"BSB002"};
constexpr std::string_view kTapPicture[] = {"SWT001"};
constexpr std::string_view kHdsPicture[] = {"RWL021"};
constexpr std::string_view kMotionSensorPicture[] = {"SML001"};

struct Picture {
    std::string_view name;
    Models models;
};

constexpr Picture kPictures[] = {
    {"e27_waca", kE27WacaPicture},
    {"e27_white", kE27WhitePicture},
    {"e14", kE14Picture},
    {"br30", kBr30Picture},
    {"br30_slim", kBr30SlimPicture},
    {"gu10", kGu10Picture},
    {"gu10_perfectfit", kGu10PerfectfitPicture},
    {"lightstrip", kLightstripPicture},
    {"iris", kIrisPicture},
    {"bloom", kBloomPicture},
    {"aura", kAuraPicture},
    {"storylight", kStorylightPicture},
    {"go", kGoPicture},
    {"beyond_ceiling_pendant_table", kBeyondCeilingPendantTablePicture},
    {"impulse", kImpulsePicture},
    {"entity", kEntityPicture},
    {"phoenix_ceiling_pendant_table_wall", kPhoenixCeilingPendantTableWallPicture},
    {"phoenix_down", kPhoenixDownPicture},
    {"pendant", kPendantPicture},
    {"ceiling", kCeilingPicture},
    {"floor", kFloorPicture},
    {"table", kTablePicture},
    {"recessed", kRecessedPicture},
    {"bridge_v1", kBridgeV1Picture},
    {"bridge_v2", kBridgeV2Picture},
    {"tap", kTapPicture},
    {"hds", kHdsPicture},
    {"motion_sensor", kMotionSensorPicture},
};

}  // namespace

std::optional<LightClass> classOfModel(std::string_view modelId) {
    for (const ModelGroup& group : kModelGroups) {
        if (group.models.contain(modelId)) {
            return group.lightClass;
        }
    }
    return std::nullopt;
}

std::optional<LightClass> classOfType(std::string_view type, std::string_view gamut) {
    for (const LightType& known : kLightTypes) {
        if (known.type == type && (known.gamut.empty() || known.gamut == gamut)) {
            return known.lightClass;
        }
    }
    return std::nullopt;
}

std::string_view nameOfClass(const LightClass& lightClass) {
    if (!lightClass.isDimmable) {
        return "switch";
    }
    for (const ClassName& known : kClassNames) {
        if (known.colorType == lightClass.colorType) {
            return known.name;
        }
    }
    return "-";
}

std::string_view pictureOfModel(std::string_view modelId) {
    for (const Picture& picture : kPictures) {
        if (picture.models.contain(modelId)) {
            return picture.name;
        }
    }
    return {};
}

}  // namespace LightCatalogue
