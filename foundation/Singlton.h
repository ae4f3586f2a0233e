#ifndef FOUNDATION_SINGLTON_H
#define FOUNDATION_SINGLTON_H

#include <atomic>

#include "host/BasicMutex.h"
#include "host/ISinglton.h"

// Singleton base: class Foo : public Singlton<Foo>. The instance is created on
// first use under a lock shared by the instantiation, and destroyed by the
// host's registry at process end.
template <typename T>
class Singlton : public ISinglton {
public:
    static T* getInstance() {
        T* instance = s_pInstance.load(std::memory_order_acquire);
        if (instance != nullptr) return instance;
        s_mutex.B_Lock();
        instance = s_pInstance.load(std::memory_order_relaxed);
        if (instance == nullptr) {
            instance = new T();
            s_pInstance.store(instance, std::memory_order_release);
            addSingltonInstance(instance);
        }
        s_mutex.B_Unlock();
        return instance;
    }

protected:
    Singlton() = default;
    ~Singlton() override { s_pInstance.store(nullptr, std::memory_order_release); }

private:
    static std::atomic<T*> s_pInstance;
    static BasicMutex s_mutex;
};

template <typename T>
std::atomic<T*> Singlton<T>::s_pInstance{nullptr};
template <typename T>
BasicMutex Singlton<T>::s_mutex;

#endif
