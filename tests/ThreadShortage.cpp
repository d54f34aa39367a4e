#include "ThreadShortage.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> shortages = 0;

using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

/// The system's, or that of a sanitizer that is a part of this program and has to know each thread.
Create nextCreate() {
    void* const sanitizers = ::dlsym(RTLD_DEFAULT, "__interceptor_pthread_create");
    return reinterpret_cast<Create>(sanitizers != nullptr ? sanitizers
                                                          : ::dlsym(RTLD_NEXT, "pthread_create"));
}

}  // namespace

/// Stands before the system's, for the standard library too.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*function)(void*), void* argument) {
    if (shortages > 0) {
        return EAGAIN;
    }
    static const Create create = nextCreate();
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
