#include "foundation/SafePointer.h"

void BaseSafePointer::report(char const* typeName, char const* what) {
    std::string message = "SafePointer Report:";
    message += typeName;
    message += ", ";
    message += what;
    throw OVRuntimeError(message);
}

void BaseSafePointer::attach(void const* address, char const* typeName, void (*deleter)(void*),
                             void* owner) {
    RefCountManager& manager = RefCountManager::getInstance();
    m_pRefCount = manager.retrieveRefCount(address, typeName);
    if (m_pRefCount->m_pDeleter == nullptr) {
        m_pRefCount->m_pDeleter = deleter;
        m_pRefCount->m_pOwner = owner;
    }
}

void BaseSafePointer::inc_reference(char const* typeName) {
    if (!RefCountManager::getInstance().increase(m_pRefCount))
        report(typeName, "not valid pointer in inc_reference ");
}

void BaseSafePointer::dec_reference(char const* typeName) {
    ref_count* count = m_pRefCount;
    int left = RefCountManager::getInstance().decrease(count);
    if (left < 0) report(typeName, "not valid pointer in dec_reference");
    if (left > 0) return;
    count->m_pDeleter(count->m_pOwner);
    delete count;
}
