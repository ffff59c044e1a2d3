// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <memory>

/// A session with the device's configuration store: texts and numbers by group and key. Opened per use and closed by
/// destruction. Every call blocks until the store answers.
class Configuration
{
public:
    /// Opens the store. Check isValid() before anything else.
    /// @param clientName the client's name for the store, by convention its D-Bus object path
    explicit Configuration(const QString& clientName);
    ~Configuration();
    Q_DISABLE_COPY_MOVE(Configuration)

    /// Whether the store could be opened.
    [[nodiscard]] bool isValid() const;

    /// Reads a text.
    /// @param found set to whether the key exists; may be null
    /// @param flag  the store's own; the device's daemons pass true
    /// @return the text, or defaultValue if the key was not found
    [[nodiscard]] QString ReadConfigValue(const QString& group, const QString& key, const QString& defaultValue,
                                          bool* found, bool flag) const;

    /// As for texts, but reads a number; a text that is not a finite number counts as not found.
    [[nodiscard]] double ReadConfigValue(const QString& group, const QString& key, double defaultValue, bool* found,
                                         bool flag) const;

    /// Writes a text; it is permanent only after Save().
    /// @param flag the store's own; the device's daemons pass false
    /// @return whether the store accepted the value
    [[nodiscard]] bool WriteConfigValue(const QString& group, const QString& key, const QString& value,
                                        bool flag) const;

    /// Makes the written values permanent. @return whether the store did so
    bool Save() const;

    /// Refuses all further writes, by any client, until the device restarts. @return whether the store did so
    bool Freeze() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};
