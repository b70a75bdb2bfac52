// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <memory>

namespace vt {

/// Turns Ctrl-C and a polite request to end (SIGINT, SIGTERM; on Windows the console's control events) into
/// a signal on the thread that made the object. One object at a time.
class TerminationSignals : public QObject
{
    Q_OBJECT
public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

signals:
    void requested();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
