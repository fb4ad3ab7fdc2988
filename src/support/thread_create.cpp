#include "support/thread_create.h"

int createThread(pthread_t& thread, const pthread_attr_t& attributes, void* (*body)(void*),
                 void* argument) {
    return pthread_create(&thread, &attributes, body, argument);
}
