#include "ThreadShortage.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {
std::atomic<int> shortages = 0;
}

/// Stands before the system's, for the standard library too.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*function)(void*), void* argument) {
    if (shortages > 0) {
        return EAGAIN;
    }
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, function, argument);
}

namespace velmaro {

ThreadShortage::ThreadShortage() {
    ++shortages;
}

ThreadShortage::~ThreadShortage() {
    --shortages;
}

}  // namespace velmaro
