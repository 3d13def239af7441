// SPDX-License-Identifier: MIT
#include "devserver/http/router.h"

#include "devserver/base/apierror.h"
#include "devserver/base/wipe.h"
#include "devserver/http/address.h"
#include "devserver/http/deadlines.h"

#include <QJsonDocument>

#include <httplib.h>

#include <future>
#include <iostream>
#include <optional>

namespace devserver {
namespace {

constexpr char jsonType[] = "application/json";
constexpr size_t workers = 32;

ApiError notJson() {
    return {415, u"unsupported_media_type"_s, u"The request's content type must be application/json."_s};
}

enum class Afterwards { KeepAlive, Close };

// A provider of known length is neither copied nor compressed by the library:
// on one machine compressing a large snapshot costs far more than sending it.
// One that reports a failure is the only way to make the library close.
void sendBytes(httplib::Response& response, QByteArray body, const std::string& type,
               Afterwards afterwards = Afterwards::KeepAlive) {
    const auto length = static_cast<size_t>(body.size());
    response.set_content_provider(
        length, type,
        [text = std::move(body), afterwards](size_t offset, size_t size, httplib::DataSink& sink) {
            return sink.write(text.constData() + offset, size) && afterwards == Afterwards::KeepAlive;
        });
}

void sendFile(httplib::Response& response, const std::shared_ptr<QIODevice>& file, const std::string& type) {
    response.set_content_provider(
        static_cast<size_t>(file->size()), type, [file](size_t offset, size_t size, httplib::DataSink& sink) {
            constexpr size_t piece = size_t{256} * 1024;
            const auto wanted = static_cast<qint64>(std::min(size, piece));
            if (!file->seek(static_cast<qint64>(offset))) {
                return false;
            }
            const QByteArray bytes = file->read(wanted);
            return bytes.size() == wanted && sink.write(bytes.constData(), static_cast<size_t>(wanted));
        });
}

void send(httplib::Response& response, Answer answer) {
    response.status = answer.status;
    for (const auto& [name, value] : answer.headers) {
        response.set_header(name.constData(), value.toStdString());
    }
    if (answer.file) {
        sendFile(response, answer.file, answer.type.toStdString());
    } else if (answer.status != 204 && answer.status != 304) {
        sendBytes(response, std::move(answer.body), answer.type.toStdString());
    }
}

void sendError(httplib::Response& response, const ApiError& error,
               Afterwards afterwards = Afterwards::KeepAlive) {
    response.status = error.status;
    sendBytes(response, errorBody(error), jsonType, afterwards);
}

// The body, or nothing when its refusal is the answer already. One that is too
// large is read to its end all the same, since who is still sending hears no
// answer, but it is not kept. What follows one that could not be read is not
// the next request: a web page could hide a push there.
std::optional<QByteArray> readBody(const httplib::Request& request, httplib::Response& response,
                                   const httplib::ContentReader& reader, qsizetype largest) {
    QByteArray body;
    bool fits = true;
    const bool complete = !request.is_multipart_form_data() && reader([&](const char* data, size_t length) {
        const auto size = static_cast<qsizetype>(length);
        fits = fits && size <= largest - body.size();
        if (fits) {
            body.append(data, size);
        }
        return true;
    });
    if (!complete) {
        response.set_header("Connection", "close");
        sendError(response, request.is_multipart_form_data() ? notJson() : errorForStatus(response.status),
                  Afterwards::Close);
        return std::nullopt;
    }
    if (!fits) {
        sendError(response, {413, u"too_large"_s,
                             u"The request is larger than %1 MiB."_s.arg(largest / Router::usualBody)});
        return std::nullopt;
    }
    return body;
}

// The body sent is JSON: a web page may send other types to any address
// without asking, and must not be able to change anything here.
void requireJson(const httplib::Request& request) {
    const QByteArray type = QByteArray::fromStdString(request.get_header_value("Content-Type"));
    if (type.split(';').constFirst().trimmed().toLower() != jsonType) {
        throw notJson();
    }
}

void requirePrivateHost(const httplib::Request& request) {
    if (request.get_header_value_count("Host") != 1 ||
        !isPrivateHostHeader(QString::fromStdString(request.get_header_value("Host")))) {
        throw ApiError{400, u"bad_host"_s, u"This server answers to private addresses only."_s};
    }
}

// A page of another site may send a request here with whatever this machine lets
// it: programs send no origin, and this server's own page asks elsewhere.
void requireOwnOrigin(const httplib::Request& request) {
    const std::string host = "://" + request.get_header_value("Host");
    const std::string origin = request.get_header_value("Origin");
    if (request.has_header("Origin") && request.path.starts_with("/v1") && origin != "http" + host &&
        origin != "https" + host) {
        throw ApiError{403, u"foreign_request"_s, u"This request comes from a page of another site."_s};
    }
}

Caller bearerOf(const Request& request) {
    return authenticate(request.connection(), request.header("Authorization"));
}

} // namespace

Request::Request(const httplib::Request& http, Connection& connection, QByteArray body)
    : m_http(http), m_connection(connection), m_body(std::move(body)) {
}

Request::~Request() {
    wipe(m_body);
}

QString Request::part(size_t n) const {
    return n < m_http.matches.size() ? QString::fromStdString(m_http.matches[n].str()) : QString();
}

QString Request::parameter(const char* name) const {
    return QString::fromStdString(m_http.get_param_value(name));
}

QByteArray Request::header(const char* name) const {
    return QByteArray::fromStdString(m_http.get_header_value(name));
}

QString Request::idempotencyKey() const {
    QString key = QString::fromUtf8(header("Idempotency-Key"));
    if (key.isEmpty()) {
        throw ApiError{400, u"idempotency_key_missing"_s, u"The request has no Idempotency-Key."_s};
    }
    return key;
}

QString Request::remoteAddress() const {
    return QString::fromStdString(m_http.remote_addr);
}

int Request::localPort() const {
    return m_http.local_port;
}

QJsonObject Request::json() const {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(m_body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        throw malformed(u"The request is not a valid JSON object."_s);
    }
    return document.object();
}

Handler inTransaction(Transaction::Kind kind, const Identify& identify, const Handler& handler) {
    return [kind, identify, handler](Request& request) {
        Transaction transaction(request.connection(), kind);
        request.setCaller(identify(request));
        Answer answer = handler(request);
        transaction.commit();
        return answer;
    };
}

Handler reads(const Handler& handler) {
    return inTransaction(Transaction::Kind::Read, bearerOf, handler);
}

Handler writes(const Handler& handler) {
    return inTransaction(Transaction::Kind::Write, bearerOf, handler);
}

Router::Router(httplib::Server& http, const Database& database) : m_http(http), m_database(database) {
    // What is answered is one person's, now: not for other sites, not for a cache.
    m_http.set_default_headers({{"Accept-Ranges", "none"},
                                {"Cache-Control", "no-store"},
                                {"Cross-Origin-Resource-Policy", "same-origin"},
                                {"Referrer-Policy", "no-referrer"},
                                {"X-Content-Type-Options", "nosniff"}});
    m_http.set_error_handler([](const httplib::Request&, httplib::Response& response) {
        // The library's own refusals come without a body.
        if (!response.has_header("Content-Type")) {
            sendError(response, errorForStatus(response.status));
        }
    });
}

Router::~Router() {
    if (m_workers) {
        m_workers->shutdown();
    }
}

void Router::start(Deadlines& deadlines) {
    m_workers = std::make_unique<httplib::ThreadPool>(workers);
    m_deadlines = &deadlines;
    m_http.set_logger([&deadlines](const httplib::Request& request, const httplib::Response&) {
        deadlines.answered(peerName(request.remote_addr, request.remote_port));
    });
}

void Router::get(const std::string& path, Handler handler) {
    m_http.Get(path, [this, handler = std::move(handler)](const httplib::Request& request,
                                                          httplib::Response& response) {
        answer(request, response, {}, handler);
    });
}

void Router::post(const std::string& path, Handler handler, qsizetype largestBody) {
    m_http.Post(path, [this, largestBody, handler = std::move(handler)](
                          const httplib::Request& request, httplib::Response& response,
                          const httplib::ContentReader& reader) {
        if (auto body = readBody(request, response, reader, largestBody)) {
            answer(request, response, std::move(*body), handler);
        }
    });
}

void Router::addRefusals() {
    // Every other body has to be read as well: left to the library, it is kept whole.
    const auto nothingHere = [](const httplib::Request& request, httplib::Response& response,
                                const httplib::ContentReader& reader) {
        if (readBody(request, response, reader, usualBody)) {
            sendError(response, errorForStatus(404));
        }
    };
    m_http.Post(".*", nothingHere);
    m_http.Put(".*", nothingHere);
    m_http.Patch(".*", nothingHere);
    m_http.Delete(".*", nothingHere);
}

void Router::answer(const httplib::Request& http, httplib::Response& response, QByteArray body,
                    const Handler& handler) const {
    m_deadlines->received(peerName(http.remote_addr, http.remote_port));
    // The library would cut a part out of any answer and call it the whole.
    const_cast<httplib::Request&>(http).ranges.clear();
    const auto done = std::make_shared<std::promise<void>>(); // the worker may still hold it afterwards
    m_workers->enqueue([&, done] {
        perform(http, response, std::move(body), handler);
        done->set_value();
    });
    done->get_future().wait();
}

void Router::perform(const httplib::Request& http, httplib::Response& response, QByteArray body,
                     const Handler& handler) const {
    try {
        requirePrivateHost(http);
        requireOwnOrigin(http);
        if (http.method == "POST") {
            requireJson(http);
        }
        Request request(http, m_database.connection(), std::move(body));
        send(response, handler(request));
    } catch (const ApiError& error) {
        sendError(response, error);
    } catch (const std::exception& error) {
        std::cerr << http.method << ' ' << http.path << ": " << error.what() << std::endl;
        sendError(response, errorForStatus(500));
    }
}

} // namespace devserver
