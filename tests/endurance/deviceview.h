// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QString>
#include <QStringList>

class Controller;

/// What a person at a device can see in one moment, as one line of text.
struct DeviceView {
    int done = 0; ///< how much of what the person did since the program's start has been answered
    QString message;
    QString account;
    QString workspace;
    QJsonArray queue;
    bool storage = false; ///< the record was read and takes writes
    bool secure = false;  ///< the storage is open
    bool busy = false;
    bool syncing = false;
    bool signedIn = false;
    bool sessionRefused = false;
    bool retained = false;

    [[nodiscard]] static DeviceView of(const Controller& client, int done);
    [[nodiscard]] static DeviceView from(const QByteArray& line);
    [[nodiscard]] QByteArray line() const;
    /// In which state that is, in words.
    [[nodiscard]] QStringList state() const;
};
