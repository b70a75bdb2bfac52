// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/ProtocolPage.h"

#include "ui/Card.h"
#include "ui/Theme.h"
#include "ui/ToggleSwitch.h"
#include "ui/setup/Fields.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <cmath>
#include <limits>

namespace vt {

using fields::NumberBox;

namespace {

constexpr double MsPerSecond = 1000.0;
constexpr double MaxIntervalSec = std::numeric_limits<int>::max() / MsPerSecond;
constexpr double MaxIntervalMin = 35791; ///< still fits a timer
constexpr double MaxThreshold = 1e9;
constexpr int MaxSleepSec = 24 * 60 * 60;
constexpr int ThresholdDecimals = 4;
constexpr int Indent = 24; ///< as far as the text of a radio button

QSpinBox* secondsBox(const QString& name, QWidget* parent)
{
    auto* box = new QSpinBox(parent);
    box->setRange(0, MaxSleepSec);
    box->setSuffix(ProtocolPage::tr(" s"));
    box->setMinimumWidth(box->fontMetrics().averageCharWidth() * 16);
    return fields::describe(
        box, name, ProtocolPage::tr("How long an animal has to be asleep; sleep is decided every 2 s"));
}

int milliseconds(const NumberBox* box)
{
    return static_cast<int>(std::lround(box->value() * MsPerSecond));
}

/// What was not edited keeps the digits that the field does not show.
double edited(const NumberBox* box, double shown)
{
    const double factor = std::pow(10.0, box->decimals());
    return std::abs(box->value() - shown) * factor < 0.51 ? shown : box->value();
}

} // namespace

ProtocolPage::ProtocolPage(QWidget* parent)
    : QWidget(parent), m_unit(new ToggleSwitch(tr("Use the stimulation &unit"), this)),
      m_sleepDuration(secondsBox(tr("Sleep duration"), this)),
      m_threshold(new NumberBox(-MaxThreshold, MaxThreshold, ThresholdDecimals, {}, this)),
      m_minInterval(new NumberBox(0, MaxIntervalSec, 3, tr("s"), this)),
      m_random(new QCheckBox(tr("&Random, up to"), this)),
      m_maxInterval(new NumberBox(0, MaxIntervalSec, 3, tr("s"), this)),
      m_intervalNote(fields::hint({}, this)),
      m_outputs(new ToggleSwitch(tr("Use the digital &outputs"), this)),
      m_outputsNote(fields::hint({}, this)), m_outputsAlone(new QWidget(this)),
      m_outputsAsleep(new QRadioButton(tr("When an animal is as&leep for at least"), m_outputsAlone)),
      m_outputsSleep(secondsBox(tr("Sleep duration for the outputs"), m_outputsAlone)),
      m_outputsTimed(new QRadioButton(tr("&Again and again, every"), m_outputsAlone)),
      m_outputsInterval(new NumberBox(0, MaxIntervalMin, 3, tr("min"), m_outputsAlone))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Medium);
    layout->addWidget(buildUnit(), 3);
    layout->addWidget(buildOutputs(), 2);
    connectFields();
    showSettings({}, {});
}

Card* ProtocolPage::buildUnit()
{
    using P = StimulationProtocol;
    auto* card = new Card(tr("Stimulation unit"), this);
    m_unit->setObjectName(QStringLiteral("useUnit"));
    m_unit->setToolTip(tr("Recordings stimulate with the unit's eight cages"));
    card->body()->addWidget(m_unit);
    card->body()->addWidget(
        fields::hint(tr("Eight cages, each with a speaker under the floor. Who is stimulated?"), card));

    fields::describe(m_threshold, tr("Activity threshold"),
                     tr("The decision value is the number that sleep is decided by: above 0 is sleep"));
    fields::describe(m_minInterval, tr("Interval"), tr("Time from one stimulation to the next"));
    fields::describe(m_random, tr("Random interval"), tr("Draw each interval anew, all equally likely"));
    fields::describe(m_maxInterval, tr("Longest interval"), tr("The longest that is drawn"));
    card->body()->addWidget(
        protocolBlock(P::SleepBased, tr("Every enabled cage whose animal has slept for long enough."),
                      {fields::caption(tr("Asleep for at least"), m_sleepDuration, this), m_sleepDuration}));
    card->body()->addWidget(
        protocolBlock(P::ActivityBased, tr("Every enabled cage whose decision value is above a threshold."),
                      {fields::caption(tr("Threshold"), m_threshold, this), m_threshold}));
    card->body()->addWidget(protocolBlock(
        P::OpenLoop, tr("All enabled cages together, again and again, whatever the animals do."),
        {fields::caption(tr("Every"), m_minInterval, this), m_minInterval, m_random, m_maxInterval}));
    card->body()->addWidget(m_intervalNote);
    card->body()->addWidget(protocolBlock(
        P::ManualTrigger, tr("All enabled cages, only when you choose Stimulate Now (Ctrl+T)."), {}));
    card->body()->addStretch();
    setEmphasis(m_intervalNote, Emphasis::Warning);
    return card;
}

QWidget* ProtocolPage::protocolBlock(StimulationProtocol protocol, const QString& sentence,
                                     const std::vector<QWidget*>& parts)
{
    static const char* const names[] = {QT_TR_NOOP("&Sleep-based"), QT_TR_NOOP("A&ctivity-based"),
                                        QT_TR_NOOP("Manual &trigger"), QT_TR_NOOP("Op&en loop")};
    const auto index = static_cast<std::size_t>(protocol);
    auto* block = new QWidget(this);
    auto* radio = new QRadioButton(tr(names[index]), block);
    radio->setAutoExclusive(false); // each has a parent of its own
    radio->setObjectName(QStringLiteral("protocol%1").arg(index));
    radio->setToolTip(sentence);
    m_protocols[index] = radio;
    m_parts[index] = new QWidget(block);
    auto* row = new QHBoxLayout(m_parts[index]);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(spacing::Small);
    for (QWidget* part : parts)
        row->addWidget(part);
    row->addStretch();
    m_parts[index]->setHidden(parts.empty());
    auto* below = new QVBoxLayout;
    below->setContentsMargins(Indent, 0, 0, 0);
    below->setSpacing(spacing::Tiny);
    below->addWidget(fields::hint(sentence, block));
    below->addWidget(m_parts[index]);
    auto* layout = new QVBoxLayout(block);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(radio);
    layout->addLayout(below);
    return block;
}

Card* ProtocolPage::buildOutputs()
{
    auto* card = new Card(tr("Digital outputs"), this);
    m_outputs->setObjectName(QStringLiteral("useOutputs"));
    m_outputs->setToolTip(tr("Recordings switch the cage box's outputs"));
    fields::describe(m_outputsInterval, tr("Interval of the outputs"), tr("Time from one pulse to the next"));
    m_outputsAsleep->setToolTip(tr("A pulse on the outputs of animals that have slept for long enough"));
    m_outputsTimed->setToolTip(tr("A pulse on all outputs, whatever the animals do"));
    card->body()->addWidget(m_outputs);
    card->body()->addWidget(
        fields::hint(tr("A pulse on the output of each stimulated cage, for equipment of your own."), card));
    card->body()->addWidget(m_outputsNote);
    auto* alone = new QVBoxLayout(m_outputsAlone);
    alone->setContentsMargins(0, 0, 0, 0);
    alone->setSpacing(spacing::Tiny);
    const auto addIndented = [&](QRadioButton* radio, QWidget* field) {
        auto* row = new QHBoxLayout;
        row->setContentsMargins(Indent, 0, 0, 0);
        row->addWidget(field);
        row->addStretch();
        alone->addWidget(radio);
        alone->addLayout(row);
    };
    addIndented(m_outputsAsleep, m_outputsSleep);
    addIndented(m_outputsTimed, m_outputsInterval);
    card->body()->addWidget(m_outputsAlone);
    card->body()->addStretch();
    return card;
}

void ProtocolPage::connectFields()
{
    for (QRadioButton* radio : m_protocols) {
        connect(radio, &QRadioButton::clicked, this, [this, radio] {
            for (QRadioButton* other : m_protocols)
                other->setChecked(other == radio);
            handleChange();
        });
    }
    for (QCheckBox* box : std::initializer_list<QCheckBox*>{m_unit, m_outputs, m_random})
        connect(box, &QCheckBox::toggled, this, &ProtocolPage::handleChange);
    for (NumberBox* box : {m_threshold, m_minInterval, m_maxInterval, m_outputsInterval})
        connect(box, &NumberBox::valueChanged, this, &ProtocolPage::handleChange);
    for (QSpinBox* box : {m_sleepDuration, m_outputsSleep})
        connect(box, &QSpinBox::valueChanged, this, &ProtocolPage::handleChange);
    connect(m_outputsTimed, &QRadioButton::toggled, this, &ProtocolPage::handleChange);
}

StimulationProtocol ProtocolPage::protocol() const
{
    for (std::size_t index = 0; index < m_protocols.size(); ++index)
        if (m_protocols[index]->isChecked())
            return static_cast<StimulationProtocol>(index);
    return StimulationProtocol::ManualTrigger;
}

void ProtocolPage::showSettings(const VexioSettings& vexio, const DioSettings& dio)
{
    m_filling = true;
    m_shownVexio = vexio;
    m_shownDio = dio;
    m_unit->setChecked(vexio.enabled);
    for (std::size_t index = 0; index < m_protocols.size(); ++index)
        m_protocols[index]->setChecked(static_cast<StimulationProtocol>(index) == vexio.protocol);
    m_sleepDuration->setValue(vexio.sleepDurationSec);
    m_threshold->setValue(vexio.activityThreshold);
    m_minInterval->setValue(vexio.minIntervalMs / MsPerSecond);
    m_random->setChecked(vexio.randomInterval);
    m_maxInterval->setValue(vexio.maxIntervalMs / MsPerSecond);
    m_outputs->setChecked(dio.enabled);
    (dio.openLoop ? m_outputsTimed : m_outputsAsleep)->setChecked(true);
    m_outputsSleep->setValue(dio.sleepDurationSec);
    m_outputsInterval->setValue(dio.stimIntervalMin);
    m_filling = false;
    updateEnabled();
}

void ProtocolPage::collect(VexioSettings& vexio, DioSettings& dio) const
{
    vexio.enabled = m_unit->isChecked();
    vexio.protocol = protocol();
    vexio.sleepDurationSec = m_sleepDuration->value();
    vexio.activityThreshold = edited(m_threshold, m_shownVexio.activityThreshold);
    vexio.minIntervalMs = milliseconds(m_minInterval);
    vexio.maxIntervalMs = milliseconds(m_maxInterval);
    vexio.randomInterval = m_random->isChecked();
    dio.enabled = m_outputs->isChecked();
    dio.openLoop = m_outputsTimed->isChecked();
    dio.sleepDurationSec = m_outputsSleep->value();
    dio.stimIntervalMin = edited(m_outputsInterval, m_shownDio.stimIntervalMin);
}

void ProtocolPage::handleChange()
{
    if (m_filling)
        return;
    updateEnabled();
    emit changed();
}

void ProtocolPage::updateEnabled()
{
    const bool isUnitUsed = m_unit->isChecked();
    for (std::size_t index = 0; index < m_protocols.size(); ++index) {
        m_protocols[index]->setEnabled(isUnitUsed);
        m_parts[index]->setEnabled(isUnitUsed && m_protocols[index]->isChecked());
    }
    const bool isTimed = isUnitUsed && protocol() == StimulationProtocol::OpenLoop;
    m_maxInterval->setEnabled(m_random->isChecked());
    m_intervalNote->setText(
        m_minInterval->value() <= 0.0
            ? tr("With an interval of 0 nothing is stimulated.")
            : tr("The longest interval is below the interval: none is drawn, the interval "
                 "stays as it is."));
    m_intervalNote->setVisible(isTimed &&
                               (m_minInterval->value() <= 0.0 ||
                                (m_random->isChecked() && m_maxInterval->value() < m_minInterval->value())));

    const bool isAlone = m_outputs->isChecked() && !isUnitUsed;
    m_outputsAlone->setEnabled(isAlone);
    m_outputsSleep->setEnabled(m_outputsAsleep->isChecked());
    m_outputsInterval->setEnabled(m_outputsTimed->isChecked());
    m_outputsNote->setText(isUnitUsed ? tr("With the stimulation unit the outputs follow its protocol. The "
                                           "settings below are for outputs alone.")
                                      : tr("Without the stimulation unit all channels are stimulated:"));
}

} // namespace vt
