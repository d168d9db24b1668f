#include "gateway/web/Web.h"

#include <civetweb.h>
#include <cstring>
#include <future>
#include <stdexcept>

#include "gateway/web/Api.h"

namespace gateway
{

// A page of this server runs nothing that others wrote, and is shown in no other page.
static const char kHeaders[] = "Cache-Control: no-store\r\n"
                               "X-Content-Type-Options: nosniff\r\n"
                               "Referrer-Policy: no-referrer\r\n"
                               "Content-Security-Policy: default-src 'self'; frame-ancestors 'none'\r\n";

static constexpr unsigned kMostParameters = 32; // of a query

struct Web::Server {
    static int Handle(mg_connection *connection);
    static int Log(const mg_connection *connection, const char *message);

    WebOptions options;
    View &view;
    const Counters &counters;
    std::string trouble; // what the server has said while it started
    mg_context *context = nullptr;
    uint16_t port = 0;
};

static std::map<std::string, std::string> QueryOf(const char *text)
{
    std::string data = text ? text : "";
    mg_header pairs[kMostParameters];
    const int count = mg_split_form_urlencoded(data.data(), pairs, kMostParameters);
    std::map<std::string, std::string> query;
    for (int i = 0; i < count; i++) query[pairs[i].name] = pairs[i].value ? pairs[i].value : "";
    return query;
}

static std::string ReadBody(mg_connection *connection)
{
    std::string body(kMaxJsonBytes + 1, '\0');
    size_t size = 0;
    while (size < body.size()) {
        const int count = mg_read(connection, body.data() + size, body.size() - size);
        if (count <= 0) break;
        size += static_cast<size_t>(count);
    }
    body.resize(size);
    return body;
}

int Web::Server::Handle(mg_connection *connection)
{
    const mg_request_info *info = mg_get_request_info(connection);
    const Server &server = *static_cast<Server *>(info->user_data);
    HttpRequest request;
    request.method = info->request_method;
    request.path = info->local_uri ? info->local_uri : "";
    request.query = QueryOf(info->query_string);
    const char *authorization = mg_get_header(connection, "Authorization");
    request.authorization = authorization ? authorization : "";
    request.body = [connection] { return ReadBody(connection); };
    HttpResponse response;
    try {
        response = RespondTo(request, server.options, server.view, server.counters);
    } catch (const std::exception &) {
        response = {500, "text/plain; charset=utf-8", "something went wrong\n"};
    }
    mg_printf(connection, "HTTP/1.1 %d %s\r\nContent-Type: %s\r\nContent-Length: %zu\r\nConnection: close\r\n%s\r\n",
              response.status, mg_get_response_code_text(connection, response.status), response.type.c_str(),
              response.body.size(), kHeaders);
    mg_write(connection, response.body.data(), response.body.size());
    return response.status;
}

// The server's own messages; those of clients that misbehave are of no use.
int Web::Server::Log(const mg_connection *connection, const char *message)
{
    const mg_request_info *info = connection ? mg_get_request_info(connection) : nullptr;
    Server *server = info ? static_cast<Server *>(info->user_data) : nullptr;
    if (server && !server->context) server->trouble = message;
    return 1;
}

Web::Web(const WebOptions &options, View &view, const Counters &counters)
    : server_(new Server{options, view, counters, "", nullptr, 0})
{
    const std::string listen = options.address + ':' + std::to_string(options.port),
                      threads = std::to_string(options.threads);
    // Without keep-alive: a browser that holds its connections would hold all threads.
    const char *settings[] = {"listening_ports",
                              listen.c_str(),
                              "num_threads",
                              threads.c_str(),
                              "request_timeout_ms",
                              "10000",
                              "enable_keep_alive",
                              "no",
                              "max_request_size",
                              "16384",
                              nullptr};
    mg_callbacks callbacks;
    memset(&callbacks, 0, sizeof callbacks);
    callbacks.begin_request = Server::Handle;
    callbacks.log_message = Server::Log;
    server_->context = mg_start(&callbacks, server_.get(), settings);
    mg_server_port ports[1];
    if (!server_->context || mg_get_server_ports(server_->context, 1, ports) != 1) {
        if (server_->context) mg_stop(server_->context);
        throw std::runtime_error("cannot serve HTTP at " + listen +
                                 (server_->trouble.empty() ? "" : ": " + server_->trouble));
    }
    server_->port = static_cast<uint16_t>(ports[0].port);
}

// The server looks every two seconds whether it is to stop, or when somebody connects.
static void Knock(const std::string &address, uint16_t port)
{
    char trouble[64];
    if (mg_connection *connection = mg_connect_client(address.c_str(), port, 0, trouble, sizeof trouble))
        mg_close_connection(connection);
}

Web::~Web()
{
    std::future<void> stopped = std::async(std::launch::async, mg_stop, server_->context);
    while (stopped.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready)
        Knock(server_->options.address == "0.0.0.0" ? "127.0.0.1" : server_->options.address, server_->port);
}

uint16_t Web::Port() const
{
    return server_->port;
}

} // namespace gateway
