// ServerInfoQueryer.h
//
// IServerInfoQueryer, the query handler that a host installs with setQueryerHandler: it turns a
// channel number or a device identifier into a class name and a ServerInfo. The handler is
// written outside the library.
#ifndef KERNA_COMPONENT_SERVERINFOQUERYER_H_
#define KERNA_COMPONENT_SERVERINFOQUERYER_H_

#include "component/ServerInfo.h"
#include "component/Unknown.h"
#include "kerna/kerna3/FlexString.h"

namespace Tessaran {
namespace Component {

/// The query handler. Each operation fills `clsid` and `serverInfo` and returns true, or returns
/// false. They run on the caller's thread.
class IServerInfoQueryer : public IUnknown {
public:
    virtual bool getServerInfoByChannel(int channel, Kerna::String& clsid,
                                        ServerInfo& serverInfo) = 0;
    virtual bool getServerInfoByDeviceId(const char* deviceId, Kerna::String& clsid,
                                         ServerInfo& serverInfo) = 0;
};

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_SERVERINFOQUERYER_H_
