#ifndef HOST_IFILESCANACTION_H
#define HOST_IFILESCANACTION_H

// Callback of IDiskManager::scanFiles: called once per matching name, on the
// scanning thread.
class IFileScanAction {
public:
    virtual ~IFileScanAction() = default;
    // `fileName` is the bare name, valid only during the call.
    virtual void doAction(char const* fileName) = 0;
};

#endif
