// GatewayTlsKeys.h - certificates and credentials that a test of the message system makes for itself.
// State: files in /tmp. Threads: one.
#pragma once

#include <memory>
#include <string>

// A certificate authority: the openssl command makes NAME.pem and NAME.key. Throws Failure.
class Authority
{
  public:
    explicit Authority(const std::string &name);
    std::string Certificate() const { return name_ + ".pem"; }
    // Makes NAME.pem and NAME.key in /tmp, for this address or name as openssl writes it ("IP:127.0.0.1").
    // Returns /tmp/NAME without an ending.
    std::string Issue(const std::string &name, const std::string &subject) const;

  private:
    std::string name_;
};

// An account at a server that trusts this operator alone, and the users that it lets in.
class Accounts
{
  public:
    Accounts();
    ~Accounts();

    // Writes the server's configuration.
    void WriteConfiguration(const std::string &path) const;
    // Writes a new user's credentials, in the form that the usual tools write. Returns the secret part.
    std::string WriteCredentials(const std::string &path) const;

  private:
    struct Key;
    const std::unique_ptr<const Key> operator_, system_, account_;
};
