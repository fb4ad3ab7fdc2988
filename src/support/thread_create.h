// Creating a thread, apart from the Thread class, so that a test binary can link in a creation
// that fails on request.
#pragma once

#include <pthread.h>

// pthread_create: 0 or the error number.
int createThread(pthread_t& thread, const pthread_attr_t& attributes, void* (*body)(void*),
                 void* argument);
