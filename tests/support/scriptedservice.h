// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QHash>
#include <QList>
#include <QProcess>
#include <QString>
#include <QVariantList>

#include <functional>

/// A bus that nobody else is on.
class PrivateBus {
public:
    ~PrivateBus();
    [[nodiscard]] bool start();
    [[nodiscard]] QString address() const { return m_address; }

private:
    QProcess m_daemon;
    QString m_address;
};

/// Somebody on a bus under a name, who records every call and answers by script; what is not scripted is an
/// unknown method. On a connection of its own, as another program would be.
class ScriptedService : public QDBusVirtualObject {
    Q_OBJECT

public:
    struct Call {
        QString member;
        QVariantList arguments;
    };
    using Answer = std::function<QVariantList(const QVariantList& arguments)>;

    /// The interface has the service's name, unless told otherwise.
    ScriptedService(const QString& busAddress, QString name, QString path, QString interface = {});
    ~ScriptedService() override;

    /// Takes the name, or gives it up.
    [[nodiscard]] bool appear();
    [[nodiscard]] bool disappear();
    void answer(const QString& member, const Answer& answer) { m_answers.insert(member, answer); }
    void emitSignal(const QString& member, const QVariantList& arguments);

    [[nodiscard]] const QList<Call>& calls() const { return m_calls; }
    [[nodiscard]] qsizetype count(const QString& member) const;

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    QString m_name;
    QString m_path;
    QString m_interface;
    QString m_connectionName;
    QDBusConnection m_connection;
    QHash<QString, Answer> m_answers;
    QList<Call> m_calls;
};
