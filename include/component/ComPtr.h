// ComPtr.h
//
// TComPtr, the component smart pointer. It holds one reference on the component and one on the
// client through which a remote component reaches its server, and every call through it runs
// under the user of that client.
#ifndef KERNA_COMPONENT_COMPTR_H_
#define KERNA_COMPONENT_COMPTR_H_

#include "component/ComponentHelper.h"
#include "kerna/kerna3/PrintLog.h"

namespace Tessaran {
namespace Component {

class IClient;

namespace Detail {
/// The client type of a TComPtr<T>, spelt through T so that it is complete when used.
template <class T>
struct ComPtrClient {
    typedef IClient type;
};
}  // namespace Detail

/// A value of two pointers, the component and its client (null for a local component), holding
/// one reference on each. Copies add references, destruction drops them through
/// Detail::CComponentHelper::release (the only way a client's last reference may go).
template <class T>
class TComPtr {
public:
    typedef typename Detail::ComPtrClient<T>::type ClientType;

    /// An empty pointer.
    TComPtr() : m_ptr(nullptr), m_client(nullptr) {}
    /// Takes over the references the caller holds on `pointer` and `client`; adds none.
    TComPtr(T* pointer, ClientType* client = nullptr) : m_ptr(pointer), m_client(client) {}
    /// Copies both pointers and adds a reference to each.
    TComPtr(const TComPtr& other) : m_ptr(other.m_ptr), m_client(other.m_client) {
        Detail::CComponentHelper::addRef(m_ptr);
        Detail::CComponentHelper::addRef(m_client);
    }
    /// Drops the component's reference, then the client's.
    ~TComPtr() {
        Detail::CComponentHelper::release(m_ptr);
        Detail::CComponentHelper::release(m_client);
    }
    /// Copy and swap: the old references go when the temporary goes.
    TComPtr& operator=(const TComPtr& other) {
        if (this != &other) {
            TComPtr copy(other);
            swap(copy);
        }
        return *this;
    }
    void swap(TComPtr& other) {
        T* ptr = m_ptr;
        m_ptr = other.m_ptr;
        other.m_ptr = ptr;
        ClientType* client = m_client;
        m_client = other.m_client;
        other.m_client = client;
    }

    /// Makes the client's user the calling thread's current user (a null client leaves it), then
    /// gives the component. Using an empty pointer ends the process ("m_ptr != NULL").
    T* operator->() const {
        Detail::CComponentHelper::setAsCurrentUser(m_client);
        if (m_ptr == nullptr) {
            Kerna::Detail::assertionFailed("m_ptr != NULL", __PRETTY_FUNCTION__, __FILE__,
                                           __LINE__);
        }
        return m_ptr;
    }
    /// The component, with no reference added.
    T* get() const { return m_ptr; }
    /// The client, with no reference added; null for a local component.
    ClientType* getClient() const { return m_client; }
    /// True when a component is held.
    explicit operator bool() const { return m_ptr != nullptr; }
    bool operator!() const { return m_ptr == nullptr; }

private:
    T* m_ptr;
    ClientType* m_client;
};

}  // namespace Component
}  // namespace Tessaran

// A TComPtr converts its client to IUnknown when it counts: IClient is complete wherever
// TComPtr is (Client.h itself includes this header first).
#include "component/Client.h"

#endif  // KERNA_COMPONENT_COMPTR_H_
