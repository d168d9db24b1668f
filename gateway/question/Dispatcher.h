// Dispatcher.h - questions and commands as they come from the message system: to the session that they are for, here or
// at another gateway, and their answers back.
//
//   plug.<serial>.ask.<function>                one member of all gateways gets it: the router is here, or at another
//   plug.<serial>.command.<name>                gateway, which gets it with the reply subject kept, or it is offline
//   plug_gateway.<id>.ask.<serial>.<function>   passed on by another gateway
//   plug_gateway.<id>.command.<serial>.<name>
//   plug.all.ask.<function>                     one member passes it on to all
//   plug_gateway.<id>.all.<function>            to all routers here, so many in a second
//   plug_gateway.<id>.reports                   {"after":SERIAL}: the last reports of the routers behind it, a page
//
// State: subscriptions, and what is asked of all. Threads: the io_context's.
#pragma once

#include <asio/steady_timer.hpp>
#include <memory>
#include <vector>

#include "gateway/session/Shard.h"

namespace gateway
{

constexpr size_t kReportsOnAPage = 500; // made in no time: questions wait meanwhile

class Dispatcher
{
  public:
    // `allRate`: routers in a second that plug.all asks here.
    Dispatcher(asio::io_context &context, Services &services, double allRate);

    // What is asked from now on, others answer.
    void Stop() { subscriptions_.clear(); }

  private:
    struct Everybody; // one question to all routers

    // These throw a Fault that is the answer.
    void Arrived(const Message &message);  // for anybody
    void PassedOn(const Message &message); // for this gateway
    void Here(bool plugin, const std::string &serial, const std::string &name, const Message &message);
    void ToAll(const std::string &function, const Message &message);
    void AskAll(const std::string &function, const Message &message);
    void AskMore(const std::shared_ptr<Everybody> &everybody);
    void Reply(const std::string &subject, const Json &answer);

    asio::io_context &context_;
    Services &services_;
    const double allRate_;
    size_t running_ = 0; // questions to all
    std::vector<std::unique_ptr<Subscription>> subscriptions_;
};

} // namespace gateway
