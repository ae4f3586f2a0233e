#ifndef HOST_REFCOUNTMANAGER_H
#define HOST_REFCOUNTMANAGER_H

#include <map>
#include <mutex>
#include <string>

// The count of one shared object, kept outside the object so that pointers
// made independently from the same address share it.
struct ref_count {
    void const* m_pAddress = nullptr;
    std::string m_strName;                   // type name, for reports
    int m_nCount = 0;                        // guarded by the manager's mutex
    void (*m_pDeleter)(void*) = nullptr;     // deletes through the first owner's type
    void* m_pOwner = nullptr;                // the pointer the deleter takes
};

// Hands out counts by object address. All count changes go through it under
// one mutex, so pointers may be copied and dropped on any thread.
class RefCountManager {
public:
    static RefCountManager& getInstance();

    // The count of the object at `address`, created at zero on first request.
    ref_count* retrieveRefCount(void const* address, char const* name);

    // Removes the count of `address` from the table and frees it.
    void returnbackRefCount(void const* address);

    // Adds one; false if `count` is not the live count of its address.
    bool increase(ref_count* count);

    // Takes one away. Answers -1 if `count` is not live, else the new count;
    // at zero the count has been removed from the table and must be freed by
    // the caller after deleting the object.
    int decrease(ref_count* count);

    // Number of objects currently counted (for leak checks in tests).
    size_t size();

private:
    bool isLive(ref_count const* count) const;

    std::mutex m_mutex;
    std::map<void const*, ref_count*> m_counts;  // guarded by m_mutex
};

#endif
