// SystemMutex.h
//
// Private platform interface: the system mutex behind the older global CMutex. Its owner may
// enter it again and must then leave it as often; leaving it from a thread that does not own it
// fails and changes nothing. Declarations only.
#ifndef KERNA_SRC_PLATFORM_SYSTEMMUTEX_H_
#define KERNA_SRC_PLATFORM_SYSTEMMUTEX_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

class SystemMutex {
public:
    /// A new mutex, not owned; null when the platform refuses one.
    static SystemMutex* create();
    ~SystemMutex();
    SystemMutex(const SystemMutex&) = delete;
    SystemMutex& operator=(const SystemMutex&) = delete;

    /// Waits without limit; true when the mutex is owned by the caller.
    bool enter();
    /// Does not wait; true when the mutex was free or is owned by the caller already.
    bool tryEnter();
    /// True when the caller owned the mutex and has left it once; false, with nothing changed, for
    /// a caller that does not own it.
    bool leave();

private:
    SystemMutex() {}
    alignas(8) unsigned char m_storage[48];
};

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_SYSTEMMUTEX_H_
