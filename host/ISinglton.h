#ifndef HOST_ISINGLTON_H
#define HOST_ISINGLTON_H

// Base of every process-wide singleton; the host destroys the registered
// instances at process end, newest first.
class ISinglton {
public:
    virtual ~ISinglton() = default;
};

// Takes ownership of the instance.
void addSingltonInstance(ISinglton* instance);

#endif
