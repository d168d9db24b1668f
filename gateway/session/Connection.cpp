#include "gateway/session/Connection.h"

#include "gateway/session/Shard.h"

namespace gateway
{

static constexpr size_t kMostUnsent = 64 * 1024; // then the router reads too slowly
static constexpr int kReadsAtOnce = 4;           // then the others have their turn

Connection::Connection(Shard &shard, asio::ip::tcp::socket socket, Session::Role role, uint64_t id,
                       const protocol::Address &peer)
    : shard_(shard), socket_(std::move(socket)), session_(shard, *this, role, id, peer, Clock::now())
{
}

void Connection::Start()
{
    asio::error_code error;
    socket_.non_blocking(true, error);
    socket_.set_option(asio::ip::tcp::no_delay(true), error);
    WaitReadable();
}

void Connection::WaitReadable()
{
    socket_.async_wait(asio::ip::tcp::socket::wait_read, [self = shared_from_this()](const asio::error_code &error) {
        if (!error && self->socket_.is_open()) self->Read();
    });
}

void Connection::Read()
{
    for (int i = 0; i < kReadsAtOnce && socket_.is_open(); i++) {
        asio::error_code error;
        auto &buffer = shard_.Scratch();
        const size_t size = socket_.read_some(asio::buffer(buffer), error);
        if (error == asio::error::would_block) break;
        if (error) return End("router");
        session_.Received(buffer.data(), size, Clock::now());
        if (size < buffer.size()) break;
    }
    if (socket_.is_open()) WaitReadable();
}

void Connection::Send(const protocol::Bytes &bytes)
{
    if (!socket_.is_open()) return;
    shard_.Count().bytesOut.Add(static_cast<int64_t>(bytes.size()));
    if (out_.size() + bytes.size() > kMostUnsent) return End("slow");
    protocol::Append(&out_, bytes);
    if (!writing_) Flush();
}

void Connection::Flush()
{
    asio::error_code error;
    const size_t size = socket_.write_some(asio::buffer(out_), error);
    if (error && error != asio::error::would_block) return End("router");
    if (size == out_.size()) {
        out_ = protocol::Bytes(); // gives its memory back, which {} would keep
        return;
    }
    out_.erase(out_.begin(), out_.begin() + static_cast<std::ptrdiff_t>(size));
    WaitWritable();
}

void Connection::WaitWritable()
{
    writing_ = true;
    socket_.async_wait(asio::ip::tcp::socket::wait_write, [self = shared_from_this()](const asio::error_code &error) {
        self->writing_ = false;
        if (!error && self->socket_.is_open()) self->Flush();
    });
}

void Connection::End(const std::string &cause)
{
    if (!socket_.is_open()) return;
    const auto self = shared_from_this();
    asio::error_code error;
    socket_.close(error);
    session_.Ended(cause);
    shard_.Forget(session_.Id());
}

} // namespace gateway
