// SPDX-License-Identifier: MIT
#include "benchmarks/peer.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>

#include <httplib.h>

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

} // namespace

struct Peer::Server {
    httplib::Server http;
    std::thread thread;
    QHash<QString, QJsonObject> entries;
    std::mutex lock;
    std::string snapshot;

    void serve(const char* path, const QJsonObject& body) {
        http.Get(path, [text = jsonText(body)](const httplib::Request&, httplib::Response& response) {
            answer(response, text);
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
    m_server->http.Get("/v1/sync/snapshot", [this](const httplib::Request&, httplib::Response& response) {
        const std::lock_guard guard(m_server->lock);
        answer(response, m_server->snapshot);
    });
    m_server->serve("/v1/me/timer", {{u"timer"_s, QJsonObject()}});
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

void Peer::serveSnapshot(const QJsonObject& snapshot) {
    std::string text = jsonText(snapshot);
    const std::lock_guard guard(m_server->lock);
    m_server->snapshot = std::move(text);
}

int Peer::listen() {
    const int port = m_server->http.bind_to_any_port("127.0.0.1");
    m_server->thread = std::thread([this] { m_server->http.listen_after_bind(); });
    return port;
}
