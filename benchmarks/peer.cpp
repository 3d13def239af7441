// SPDX-License-Identifier: MIT
#include "benchmarks/peer.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>

#include <httplib.h>

#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

std::string jsonText(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

/// Through a provider, because the library would compress a plain body for longer than it is sent.
void answer(httplib::Response& response, const std::string& text) {
    response.set_content_provider(text.size(), "application/json",
                                  [text](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                      return sink.write(text.data() + offset, length);
                                  });
}

/// Head and body, as they go over the wire.
std::size_t sizeOf(const httplib::Response& response) {
    std::size_t size = std::string("HTTP/1.1 200 OK\r\n\r\n").size() +
                       std::stoull(response.get_header_value("Content-Length"));
    for (const auto& [name, value] : response.headers) {
        size += name.size() + value.size() + std::string(": \r\n").size();
    }
    return size;
}

} // namespace

struct Peer::Server {
    httplib::Server http;
    std::thread thread;
    QHash<QString, QJsonObject> entries;
    std::mutex lock;
    std::string snapshot;
    int snapshots = 0; ///< tells this one from those before
    bool tagged = false;
    std::map<std::string, std::pair<std::string, int>> replies; ///< by the end of the path
    std::atomic<qint64> reloads = 0;
    std::atomic<qint64> bytes = 0;

    void serve(const char* path, const QJsonObject& body) {
        http.Get(path, [text = jsonText(body)](const httplib::Request&, httplib::Response& response) {
            answer(response, text);
        });
    }

    void answerSnapshot(const httplib::Request& request, httplib::Response& response) {
        ++reloads;
        const std::lock_guard guard(lock);
        const std::string tag = '"' + std::to_string(snapshots) + '"';
        if (tagged) {
            response.set_header("ETag", tag);
        }
        if (tagged && request.get_header_value("If-None-Match") == tag) {
            response.status = 304;
            return;
        }
        answer(response, snapshot);
    }

    void answerPost(const httplib::Request& request, httplib::Response& response) {
        const std::lock_guard guard(lock);
        response.status = 404;
        for (const auto& [end, reply] : replies) {
            if (request.path.ends_with(end)) {
                response.status = reply.second;
                answer(response, reply.first);
            }
        }
    }

    /// What is asked of "/counts" does not count itself.
    void count() {
        http.Get("/counts", [this](const httplib::Request&, httplib::Response& response) {
            answer(response, jsonText({{u"reloads"_s, reloads.load()}, {u"bytes"_s, bytes.load()}}));
        });
        http.set_logger([this](const httplib::Request& request, const httplib::Response& response) {
            if (request.path != "/counts") {
                bytes += static_cast<qint64>(sizeOf(response));
            }
        });
    }

    [[nodiscard]] QJsonObject accept(const QJsonObject& mutation) const {
        QJsonObject entry = entries.value(mutation.value(u"entity_id").toString());
        const QJsonObject payload = mutation.value(u"payload").toObject();
        for (auto field = payload.begin(); field != payload.end(); ++field) {
            entry.insert(field.key(), field.value());
        }
        entry.insert(u"version", mutation.value(u"base_version").toInt() + 1);
        return {{u"mutation_id"_s, mutation.value(u"mutation_id")},
                {u"status"_s, u"accepted"_s},
                {u"canonical"_s, entry}};
    }
};

Peer::Peer(const QJsonObject& state) : m_server(std::make_unique<Server>()) {
    const QJsonObject snapshot = state.value(u"snapshot").toObject();
    for (const auto& entry : snapshot.value(u"time_entries").toArray()) {
        m_server->entries.insert(entry.toObject().value(u"id").toString(), entry.toObject());
    }
    m_server->http.set_tcp_nodelay(true);
    m_server->http.set_keep_alive_max_count(1000000);
    m_server->serve("/v1/me", state.value(u"me").toObject());
    m_server->serve("/v1/workspaces", {{u"items"_s, state.value(u"workspaces")}});
    serveSnapshot(snapshot);
    m_server->http.Get("/v1/sync/snapshot",
                       [this](const httplib::Request& request, httplib::Response& response) {
                           m_server->answerSnapshot(request, response);
                       });
    m_server->serve("/v1/me/timer", {{u"timer"_s, state.value(u"timer")}});
    m_server->http.Post("/v1/workspaces/.*",
                        [this](const httplib::Request& request, httplib::Response& response) {
                            m_server->answerPost(request, response);
                        });
    m_server->count();
    m_server->http.Post(
        "/v1/sync/push", [this](const httplib::Request& request, httplib::Response& response) {
            const QJsonDocument body = QJsonDocument::fromJson(QByteArray::fromStdString(request.body));
            const QJsonObject mutation = body.object().value(u"mutations").toArray().first().toObject();
            const QJsonObject reply{{u"results"_s, QJsonArray{m_server->accept(mutation)}}};
            answer(response, jsonText(reply));
        });
}

Peer::~Peer() {
    m_server->http.stop();
    if (m_server->thread.joinable()) {
        m_server->thread.join();
    }
}

void Peer::serveReply(const std::string& end, const QJsonObject& reply, int status) {
    const std::lock_guard guard(m_server->lock);
    m_server->replies[end] = {jsonText(reply), status};
}

void Peer::offerTag() {
    const std::lock_guard guard(m_server->lock);
    m_server->tagged = true;
}

void Peer::serveSnapshot(const QJsonObject& snapshot) {
    std::string text = jsonText(snapshot);
    const std::lock_guard guard(m_server->lock);
    m_server->snapshot = std::move(text);
    ++m_server->snapshots;
}

int Peer::listen() {
    const int port = m_server->http.bind_to_any_port("127.0.0.1");
    m_server->thread = std::thread([this] { m_server->http.listen_after_bind(); });
    return port;
}
