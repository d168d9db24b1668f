// Lock.h - holds a mutex for the length of a block.
#pragma once

#include <pthread.h>

class Lock
{
  public:
    explicit Lock(pthread_mutex_t *mutex) : m_mutex(mutex) { pthread_mutex_lock(mutex); }
    ~Lock() { pthread_mutex_unlock(m_mutex); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

  private:
    pthread_mutex_t *m_mutex;
};
