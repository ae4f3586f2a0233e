#ifndef HOST_OVTHREAD_H
#define HOST_OVTHREAD_H

#include "host/GThread.h"

// The second generation of the host's worker thread; same contract as GThread
// and the same loop.
class OVThread : public GThread {
public:
    OVThread(function<int> body, std::string const& name,
             function<int> before = GThread::emptyFun(),
             function<int> after = GThread::emptyFun())
        : GThread(body, name, before, after) {}
};

#endif
