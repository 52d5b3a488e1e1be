// ServerInfo.h
//
// ServerInfo, the plain record that names a server, a user and the settings of a connection, and
// ServerChallenge, the record in which a client delivers a server's challenge. The library gives
// only `userName` a meaning of its own; the other fields are carried to the concrete client,
// which reads them back with IClient::getServerInfo.
#ifndef KERNA_COMPONENT_SERVERINFO_H_
#define KERNA_COMPONENT_SERVERINFO_H_

#include <cstdint>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FlexString.h"

namespace Tessaran {
namespace Component {

/// Server, user and connection settings. The texts are not owned: copying a ServerInfo copies
/// the pointers. Wherever a text is compared, null counts as "". Two records name the same client
/// when all fields but shortOption1, textOption5, the bit behind flagOption, bitsOption,
/// intOption3 and textOption9 agree; a shared instance of the registry is identified by address,
/// port, userName, password and byteOption1.
struct KERNA_API ServerInfo {
    /// Every field zero, null or empty.
    constexpr ServerInfo()
        : address(nullptr),
          port(0),
          userName(nullptr),
          password(nullptr),
          textOption1(nullptr),
          byteOption1(0),
          byteOption2(0),
          shortOption1(0),
          textOption2(nullptr),
          textOption3(nullptr),
          textOption4(nullptr),
          textOption5(nullptr),
          intOption1(0),
          textOption6(nullptr),
          byteOption3(0),
          flagOption(0),
          reservedBit(0),
          bitsOption(0),
          shortOption2(0),
          intOption2(0),
          intOption3(0),
          textOption7(nullptr),
          textOption8(nullptr),
          textOption9(nullptr),
          textOption10(nullptr),
          byteOption4(0),
          reserved{} {}

    const char* address;
    int32_t port;
    const char* userName;
    const char* password;
    const char* textOption1;
    uint8_t byteOption1;
    uint8_t byteOption2;
    uint16_t shortOption1;
    const char* textOption2;
    const char* textOption3;
    const char* textOption4;
    const char* textOption5;
    int32_t intOption1;
    const char* textOption6;
    uint8_t byteOption3;
    uint8_t flagOption : 1;
    uint8_t reservedBit : 1;  ///< not used by the library
    uint8_t bitsOption : 6;
    uint16_t shortOption2;
    int32_t intOption2;
    int32_t intOption3;
    const char* textOption7;
    const char* textOption8;
    const char* textOption9;
    const char* textOption10;
    uint8_t byteOption4;
    uint8_t reserved[63];  ///< copied with the record; not used by the library

    /// "No server": the object itself, not a record of equal content, asks for a local component.
    static const ServerInfo none;
};

/// A server's challenge as a client delivers it: five texts and 27 integers.
struct KERNA_API ServerChallenge {
    /// Five empty texts and 27 zeros.
    ServerChallenge();

    Kerna::MiniString challengeText1;
    Kerna::MiniString challengeText2;
    Kerna::MiniString challengeText3;
    Kerna::MiniString challengeText4;
    Kerna::MiniString challengeText5;
    int32_t challengeValues[27];
};

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_SERVERINFO_H_
