// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SetupSummary.h"

#include "ui/ElidedLabel.h"
#include "ui/StatusText.h"
#include "ui/Theme.h"

#include <QDir>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace vt {

namespace {

void showValue(ElidedLabel* label, const QString& value, const QString& otherwise)
{
    label->setText(value.isEmpty() ? otherwise : value);
    label->setToolTip(value);
    setEmphasis(label, value.isEmpty() ? Emphasis::Muted : Emphasis::Normal);
}

bool isStimulating(const RecordingSetup& setup)
{
    return (setup.vexio && setup.vexio->enabled) || (setup.dio && setup.dio->enabled);
}

} // namespace

SetupSummary::SetupSummary(QWidget* parent)
    : Card(tr("Setup"), parent), m_open(new QPushButton(tr("Set &Up…"), this))
{
    m_open->setObjectName(QStringLiteral("setupButton"));
    m_open->setAccessibleName(tr("Set up the next recording"));
    m_open->setToolTip(tr("Unit, animals, file, sensors, cameras and stimulation (Ctrl+1)"));
    setKind(m_open, QStringLiteral("plain"));
    addHeaderWidget(m_open);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(spacing::Medium);
    grid->setVerticalSpacing(spacing::Tiny);
    grid->setColumnStretch(1, 1);
    const auto add = [&](const QString& caption, const QString& objectName) {
        auto* name = new QLabel(caption, this);
        setTextRole(name, TextRole::Caption);
        auto* value = new ElidedLabel(this);
        value->setObjectName(objectName);
        const int row = grid->rowCount();
        grid->addWidget(name, row, 0);
        grid->addWidget(value, row, 1);
        return value;
    };
    m_device = add(tr("Unit"), QStringLiteral("summaryDevice"));
    m_animals = add(tr("Animals"), QStringLiteral("summaryAnimals"));
    m_file = add(tr("File"), QStringLiteral("summaryFile"));
    m_stimulation = add(tr("Stimulation"), QStringLiteral("summaryStimulation"));
    body()->addLayout(grid);
    connect(m_open, &QPushButton::clicked, this, &SetupSummary::openRequested);
    show({}, {});
}

void SetupSummary::show(const DeviceDetails& device, const RecordingSetup& setup)
{
    const bool isChosen = device.usable;
    showValue(m_device, isChosen ? tr("%1, serial %2").arg(device.name, device.serial) : QString(),
              tr("None chosen"));
    const int animalType = device.kind == DeviceKind::SerialAmplifier ? setup.animalType : device.animalType;
    showValue(m_animals,
              isChosen && setup.channelCount > 0
                  ? tr("%1, channels: %2").arg(statustext::animalTypeText(animalType)).arg(setup.channelCount)
                  : QString(),
              tr("Follow the unit"));
    showValue(m_file, QDir::toNativeSeparators(setup.basePath), tr("None chosen"));
    showValue(m_stimulation, isStimulating(setup) ? tr("Set up") : QString(), tr("None"));
}

} // namespace vt
