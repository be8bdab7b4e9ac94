#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <utility>
#include <variant>

/** What kind of failure an operation met; callers branch on it, people read the text. */
enum class ErrorKind {
    Failed,     ///< anything not named below
    Missing,    ///< a file, program or record that is not there
    Invalid,    ///< data that is not what it claims to be (a damaged file, a malformed answer)
    NoSpace,    ///< the disk has no room
    Exists,     ///< the target name is taken
    Io,         ///< reading or writing a file failed
    Cancelled,  ///< the user stopped it
    Network,    ///< the request did not reach the service or got no answer
    TimedOut,   ///< the time allowed ran out
    Refused,    ///< the service answered with an error status
};

/** A failure: its kind and a text a person can act on. */
struct Error
{
    ErrorKind kind = ErrorKind::Failed;
    QString text;
    /** Further lines for the diagnostics log, when there is more to say than the text. */
    QStringList details = {};
};

/**
 * The result of an operation that can fail: a value, or an Error. The one
 * success/failure shape of the creation path and the HTTP layer (what
 * C++23's std::expected gives).
 */
template<typename T>
class [[nodiscard]] Outcome
{
public:
    Outcome(T value) : m_state(std::in_place_index<0>, std::move(value)) {}
    Outcome(Error error) : m_state(std::in_place_index<1>, std::move(error)) {}

    bool ok() const { return m_state.index() == 0; }
    explicit operator bool() const { return ok(); }

    const T &value() const { return std::get<0>(m_state); }
    T &value() { return std::get<0>(m_state); }
    const T *operator->() const { return &value(); }
    const T &operator*() const { return value(); }

    /** The failure; only valid when !ok(). */
    const Error &error() const { return std::get<1>(m_state); }
    ErrorKind errorKind() const { return ok() ? ErrorKind::Failed : error().kind; }
    /** The failure's text, empty on success. */
    QString errorText() const { return ok() ? QString() : error().text; }

private:
    std::variant<T, Error> m_state;
};

/** An operation that gives no value: success, or an Error. */
template<>
class [[nodiscard]] Outcome<void>
{
public:
    Outcome() = default;
    Outcome(Error error) : m_error(std::move(error)) {}

    bool ok() const { return !m_error.has_value(); }
    explicit operator bool() const { return ok(); }
    const Error &error() const { return *m_error; }
    ErrorKind errorKind() const { return ok() ? ErrorKind::Failed : m_error->kind; }
    QString errorText() const { return ok() ? QString() : m_error->text; }

private:
    std::optional<Error> m_error;
};

using Status = Outcome<void>;

/** Shorthand for a failure of any Outcome. */
inline Error failure(ErrorKind kind, QString text, QStringList details = {})
{
    return Error{kind, std::move(text), std::move(details)};
}
