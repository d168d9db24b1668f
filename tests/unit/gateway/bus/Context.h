// Context.h - an io_context with a thread of its own.
#pragma once

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <thread>

struct Context {
    asio::io_context io;
    asio::executor_work_guard<asio::io_context::executor_type> work{io.get_executor()};
    std::thread thread{[this] { io.run(); }};
    ~Context() { End(); }
    void End()
    {
        io.stop();
        if (thread.joinable()) thread.join();
    }
};
