// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QList>
#include <QMap>
#include <QStringList>

/// org.freedesktop.secrets on the session bus, for what a real Secret Service
/// does not do on demand. It knows one collection, and items by attributes.
class ScriptedSecrets : public QDBusVirtualObject {
    Q_OBJECT

public:
    enum class Writes {
        Stored,
        Lost,    ///< answered as done, but not stored
        Altered, ///< answered as done, but other bytes are stored
        Refused,
    };

    explicit ScriptedSecrets(QObject* parent = nullptr);
    ~ScriptedSecrets() override;

    Writes writes = Writes::Stored;
    bool readsFail = false;
    bool holdWrites = false; ///< keeps each write, undone and unanswered, until release()
    bool holdReads = false;

    /// Answers what was held, in the order of its arrival.
    void release();

    [[nodiscard]] qsizetype held() const { return m_held.size(); }
    [[nodiscard]] int reads() const { return m_reads; }
    [[nodiscard]] qsizetype items() const { return m_items.size(); }
    /// Values in the order in which they were written, replaced ones included.
    [[nodiscard]] QList<QByteArray> written() const { return m_written; }

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    using Attributes = QMap<QString, QString>;

    [[nodiscard]] QDBusMessage answer(const QDBusMessage& message);
    [[nodiscard]] QDBusMessage search(const QDBusMessage& message);
    [[nodiscard]] QDBusMessage secrets(const QDBusMessage& message);
    [[nodiscard]] QDBusMessage createItem(const QDBusMessage& message);
    [[nodiscard]] QDBusMessage property(const QDBusMessage& message) const;

    struct Item {
        Attributes attributes;
        QByteArray value;
        QString contentType;
    };
    QList<Item> m_items;
    QList<QDBusMessage> m_held;
    QList<QByteArray> m_written;
    int m_reads = 0;
};
