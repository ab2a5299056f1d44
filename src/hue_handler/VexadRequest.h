/// One command of the core, queued for the request worker.
#pragma once

namespace hue_handler {

struct VexadRequest {
    int object_id;  ///< of the controller
    int value;      ///< switch 0 or 1, percent, channel byte, or a colour word 0xRRGGBB / 0xHHSSVV
};

}  // namespace hue_handler
