#pragma once
// What a fatal report becomes in a fuzzing build: instead of ending the process,
// cls_log::log_fatal throws this, so that a harness can count a clean fatal as
// an expected answer to bad input and go on with the next one. Ordinary builds
// never define OZGI_FATAL_THROWS, so there log_fatal always ends the process and
// nothing can name or catch this type.
#ifndef OZGI_FATAL_THROWS
#error "cls_fatal_error exists only in builds made with OZGI_FATAL_THROWS (the fuzzing build)"
#endif

#include <exception>
#include <string>

namespace ozgi {

class cls_fatal_error : public std::exception {
public:
    /// The fatal report, "file:line: message" as log_fatal would have printed it.
    explicit cls_fatal_error(std::string message) : m_message(std::move(message)) {}
    /// The fatal report.
    const char* what() const noexcept override { return m_message.c_str(); }

private:
    std::string m_message;
};

} // namespace ozgi
