// ServerInfoQueryerHelper.h
//
// CServerInfoQueryerHelper: the process-wide place of the query handler, and the questions a
// caller asks before it requests a component: which class and which server serve a channel or a
// device. "Local" is the answer whenever nothing better is known.
#ifndef KERNA_COMPONENT_SERVERINFOQUERYERHELPER_H_
#define KERNA_COMPONENT_SERVERINFOQUERYERHELPER_H_

#include "component/ComPtr.h"
#include "component/ServerInfo.h"
#include "component/ServerInfoQueryer.h"
#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FlexString.h"

namespace Tessaran {
namespace Component {

namespace Detail {
class QueryerHelperHolder;
}

/// One object per process, made when the library is loaded.
class KERNA_API CServerInfoQueryerHelper {
public:
    static CServerInfoQueryerHelper* instance();

    /// Stores the first non-empty handler with a reference of its own; true. Once a handler is
    /// set, or for an empty `handler`, nothing changes, a line goes out at level 2 and the result
    /// is false: a handler can be set once and neither replaced nor cleared. Set it at start-up,
    /// before the first query.
    bool setQueryerHandler(const TComPtr<IServerInfoQueryer>& handler);
    /// Without a handler, or for channel -1: "Local" in `clsid`, `serverInfo` untouched, true.
    /// Another negative channel: false with a line at level 2. Otherwise the handler's answer,
    /// asked under the user of the handler's client.
    bool getServerInfoByChannel(int channel, Kerna::String& clsid, ServerInfo& serverInfo);
    /// Without a handler, or for a null `deviceId`: false with a line at level 2 (there is no
    /// local answer). Otherwise the handler's answer, as above.
    bool getServerInfoByDeviceId(const char* deviceId, Kerna::String& clsid,
                                 ServerInfo& serverInfo);

private:
    friend class Detail::QueryerHelperHolder;
    CServerInfoQueryerHelper();
    ~CServerInfoQueryerHelper();
    CServerInfoQueryerHelper(const CServerInfoQueryerHelper&) = delete;
    CServerInfoQueryerHelper& operator=(const CServerInfoQueryerHelper&) = delete;

    TComPtr<IServerInfoQueryer> m_handler;
};

/// CServerInfoQueryerHelper::instance()->setQueryerHandler(handler).
KERNA_API bool setQueryerHandler(TComPtr<IServerInfoQueryer> handler);

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_SERVERINFOQUERYERHELPER_H_
