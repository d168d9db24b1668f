// Connection.h - the socket of one session: reads without a buffer of its own, writes at once or from a bounded one.
// State: one socket. Threads: its shard's.
#pragma once

#include <asio/ip/tcp.hpp>
#include <memory>

#include "gateway/session/Session.h"

namespace gateway
{

class Shard;

class Connection : public Outlet, public std::enable_shared_from_this<Connection>
{
  public:
    Connection(Shard &shard, asio::ip::tcp::socket socket, Session::Role role, uint64_t id,
               const protocol::Address &peer);

    void Start();
    void Send(const protocol::Bytes &bytes) override;
    void End(const std::string &cause) override;
    Session &Conversation() { return session_; }

  private:
    void WaitReadable();
    void WaitWritable();
    void Read();
    void Flush();

    Shard &shard_;
    asio::ip::tcp::socket socket_;
    Session session_;
    protocol::Bytes out_; // what the socket does not take yet
    bool writing_ = false;
};

} // namespace gateway
