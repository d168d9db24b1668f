// Browser.h - Chromium without a screen, as somebody uses it: a page is opened, fields are filled, buttons are clicked.
//
// Commands go through the pipes of its DevTools protocol: JSON texts, each with a zero byte behind it.
//
// State: one browser with one page. Threads: one.
#pragma once

#include <string>
#include <sys/types.h>

#include "gateway/translate/Json.h"

class Browser
{
  public:
    // `folder`: what it writes. Throws std::runtime_error, here and below, when the browser does not do it in time.
    Browser(const std::string &folder, const std::string &url);
    ~Browser();
    Browser(const Browser &) = delete;
    Browser &operator=(const Browser &) = delete;

    // What this JavaScript is in the page; a promise is waited for.
    gateway::Json Value(const std::string &expression);
    // Waits until it is true; whether it became so.
    bool Becomes(const std::string &expression);
    // With the mouse, in the middle of what this CSS selector finds first.
    void Click(const std::string &selector);
    // Into a field that is clicked first.
    void Type(const std::string &selector, const std::string &text);

  private:
    gateway::Json Call(const std::string &method, const gateway::Json &parameters);

    pid_t process_ = -1;
    int commands_ = -1, answers_ = -1;
    int last_ = 0;        // number of the last command
    std::string session_; // with the page; empty: with the browser
    std::string unread_;
};
