// ComSelInfo.h
//
// ComSelChannelInfo and ComSelDeviceIdInfo: the small records in which callers pass a selection of
// component by channel or by device identifier. The library only defines, constructs and copies
// them; the meaning of their fields belongs to the callers' selection code.
#ifndef KERNA_COMPONENT_COMSELINFO_H_
#define KERNA_COMPONENT_COMSELINFO_H_

#include <cstdint>

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Component {

/// A selection by channel: 64 bytes, the reserved tail copied with the record.
struct KERNA_API ComSelChannelInfo {
    /// Channel -1, option -1, no text.
    constexpr ComSelChannelInfo() : channel(-1), option(-1), text(nullptr), reserved{} {}
    /// The fields of these names.
    constexpr ComSelChannelInfo(int channelIn, const char* textIn, int optionIn)
        : channel(channelIn), option(optionIn), text(textIn), reserved{} {}

    int32_t channel;
    int32_t option;
    const char* text;  ///< not owned
    uint8_t reserved[48];

    /// The selection of the local component: (-1, null, -1).
    static const ComSelChannelInfo local;
};

/// A selection by device identifier, of the same length as ComSelChannelInfo.
struct KERNA_API ComSelDeviceIdInfo {
    /// Every field zero.
    constexpr ComSelDeviceIdInfo() : deviceId(nullptr), option(0), channel(0), reserved{} {}

    const char* deviceId;  ///< not owned
    int32_t option;
    int32_t channel;
    uint8_t reserved[48];
};

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_COMSELINFO_H_
