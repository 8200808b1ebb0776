#pragma once

#include <pthread.h>

/// Holds a mutex until the end of its scope.
class [[nodiscard]] mutex_guard {
public:
    explicit mutex_guard(pthread_mutex_t &mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    mutex_guard(const mutex_guard &) = delete;
    mutex_guard &operator=(const mutex_guard &) = delete;
    ~mutex_guard() { pthread_mutex_unlock(&m_mutex); }

private:
    pthread_mutex_t &m_mutex;
};
