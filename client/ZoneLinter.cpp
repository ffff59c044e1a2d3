// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZoneLinter.h"

#include "ChargeBands.h"
#include "IniText.h"
#include "NearestWord.h"
#include "ShownText.h"
#include "ZoneReader.h"
#include "ZoneTable.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <array>
#include <optional>
#include <tuple>

using namespace Qt::Literals::StringLiterals;
using Severity = ZoneFinding::Severity;

namespace {

// As ActionManager knows them: what an unreadable volume and light count as. No ceiling above them does anything.
constexpr int kLoudestVolume = 128;
constexpr int kBrightestLight = 100;

/// Nobody mends more at a time, and a file that is no zone file has a finding in each line.
constexpr qsizetype kMostOfAKind = 1000;

QStringList keys()
{
    return {u"low_treshold"_s, u"high_treshold"_s, u"volume"_s, u"light"_s};
}

/// The number that a value is without further ado; quotes around it do not matter.
std::optional<qlonglong> plainNumber(QByteArray value)
{
    if (value.size() > 1 && value.startsWith('"') && value.endsWith('"')) {
        value = value.sliced(1).chopped(1);
    }
    bool isNumber = false;
    const qlonglong number = value.trimmed().toLongLong(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

bool isPlainNumber(const QByteArray& value)
{
    return plainNumber(value).has_value();
}

/// The number that somebody meant who wrote "80.5", "80 %" or "80,90"; empty if there is none.
QString leadingNumber(const QByteArray& value)
{
    qsizetype end = value.startsWith('-') ? 1 : 0;
    while (end < value.size() && value.at(end) >= '0' && value.at(end) <= '9') {
        ++end;
    }
    bool isNumber = false;
    const int number = value.first(end).toInt(&isNumber);
    const bool isWhole = end == value.size() || QByteArrayView(" %.,").contains(value.at(end));
    return isNumber && isWhole ? QString::number(number) : QString();
}

/// Goes through one file.
class Linter
{
public:
    Linter(const QByteArray& content, int noisePercent)
        : m_content(content), m_text(content), m_zones(parseZones(content)), m_table(m_zones), m_noise(noisePercent)
    {
    }
    Q_DISABLE_COPY_MOVE(Linter)

    QList<ZoneFinding> run()
    {
        checkBytes();
        for (const IniStatement& statement : m_text.statements()) {
            if (statement.isQuoteOpen) {
                report("unclosed-quote", Severity::Error, statement.begin, statement.name.section(u'/', 0, -2),
                       u"an unclosed quote; all following lines belong to this one"_s, u"a closing \""_s);
            }
            switch (statement.kind) {
            case IniStatement::Kind::Group:
                checkGroup(statement);
                break;
            case IniStatement::Kind::Key:
                checkKey(statement);
                break;
            case IniStatement::Kind::Other:
                checkOther(statement);
                break;
            }
        }
        checkGroupsHaveKeys();
        for (const PowerZone& zone : m_zones) {
            checkBand(zone);
        }
        checkOverlaps();
        checkCharges();
        for (const Count& count : std::as_const(m_counts)) {
            if (count.total > kMostOfAKind) {
                m_findings[count.last].found += u" (and %1 more of this kind)"_s.arg(count.total - kMostOfAKind);
            }
        }
        std::stable_sort(m_findings.begin(), m_findings.end(), [](const ZoneFinding& a, const ZoneFinding& b) {
            return std::tie(a.line, a.column) < std::tie(b.line, b.column);
        });
        return m_findings;
    }

private:
    /// Where the zone's header and keys are; of a key that is there twice, the last.
    struct Places
    {
        qsizetype header = -1;
        std::array<const IniStatement*, 4> keys{};
    };

    /// How many findings of a kind there are, and the place of the last one that is reported.
    struct Count
    {
        qsizetype total = 0;
        qsizetype last = 0;
    };

    void report(const char* id, Severity severity, qsizetype offset, const QString& zone, const QString& found,
                const QString& meant)
    {
        Count& count = m_counts[QLatin1StringView(id)];
        if (++count.total > kMostOfAKind) {
            return;
        }
        const TextPlace place = m_text.placeOf(std::max<qsizetype>(0, offset));
        count.last = m_findings.size();
        m_findings.append({QString::fromLatin1(id), severity, place.line, place.column, zone, found, meant});
    }

    void checkBytes()
    {
        if (m_content.startsWith("\xef\xbb\xbf")) {
            report("byte-order-mark", Severity::Note, 0, {}, u"a byte order mark; the daemon skips it"_s,
                   u"none, because other programs do not skip it"_s);
        }
        const qsizetype nul = m_content.indexOf('\0');
        if (nul >= 0) {
            report("nul-byte", Severity::Warning, nul, {}, u"a NUL byte; this is not a text file, or a damaged one"_s,
                   u"a text file in UTF-8"_s);
        }
        const QByteArray sound = QString::fromUtf8(m_content).toUtf8();
        const qsizetype skipped = m_content.startsWith("\xef\xbb\xbf") ? 3 : 0;
        const auto fault = std::mismatch(m_content.begin() + skipped, m_content.end(), sound.begin(), sound.end());
        if (fault.first != m_content.end()) {
            report("not-utf-8", Severity::Warning, std::distance(m_content.begin(), fault.first), {},
                   u"bytes that are not UTF-8; names on the bus will have replacement characters there"_s,
                   u"a file in UTF-8"_s);
        }
    }

    void checkGroup(const IniStatement& group)
    {
        const QString zone = group.name.section(u'/', 0, 0);
        const QString written = shown(group.written);
        if (!group.isClosed) {
            report("unclosed-group", Severity::Error, group.begin, zone,
                   u"a group without ']'; the whole line counts as its name"_s, u"[%1]"_s.arg(written));
        } else if (!group.value.isEmpty()) {
            report("text-after-group", Severity::Warning, group.valueBegin, zone,
                   u"\"%1\" after the group; it is ignored"_s.arg(shown(group.value)),
                   u"a line of its own, or ';' before a comment"_s);
        }
        const bool isGeneral = group.written.toLower() == "general";
        if (isGeneral) {
            report("general-group", Severity::Error, group.begin, {},
                   u"[%1] is not a zone; Qt treats its keys as keys outside groups"_s.arg(written),
                   u"another name, or [%General] for a zone of this name"_s);
            return;
        }
        if (zone.isEmpty()) {
            report("nameless-group", Severity::Error, group.begin, {},
                   u"a group without a name; its keys are not found"_s, u"a name between '[' and ']'"_s);
        } else if (group.name != zone) {
            m_nestedGroups.insert(zone);
            report("nested-group", Severity::Error, group.begin, zone,
                   u"a group inside the group \"%1\"; the daemon does not look for keys there"_s.arg(shown(zone)),
                   u"a name without '/' and backslash"_s);
        } else if (zone != QString::fromUtf8(group.written)) {
            report("escaped-name", Severity::Note, group.begin, zone,
                   u"the zone's name on the bus is \"%1\""_s.arg(shown(zone)), u"the plain name, if possible"_s);
        }
        if (zone == u"None") {
            report("zone-named-none", Severity::Warning, group.begin, zone,
                   u"a zone named \"None\", the name that stands for no zone on the bus"_s, u"another name"_s);
        }
        Places& places = m_places[zone];
        if (places.header >= 0 && group.name == zone && m_headers.contains(group.name)) {
            report("duplicate-group", Severity::Warning, group.begin, zone,
                   u"a second group \"%1\", after line %2; the daemon merges both into one zone"_s.arg(
                       shown(zone), QString::number(m_text.placeOf(places.header).line)),
                   u"one group per zone, each with another name"_s);
        }
        m_headers.insert(group.name);
        if (places.header < 0) {
            places.header = group.begin;
        }
    }

    void checkKey(const IniStatement& key)
    {
        const qsizetype slash = key.name.indexOf(u'/');
        const QString zone = key.name.left(std::max<qsizetype>(0, slash));
        const QString name = key.name.mid(slash + 1);
        const auto number = keys().indexOf(name);
        if (slash < 0) {
            report("key-outside-group", Severity::Warning, key.begin, {},
                   u"the key \"%1\" outside groups; it is ignored"_s.arg(shown(key.written)),
                   u"a place below a [group]"_s);
            return;
        }
        m_zonesWithKeys.insert(zone);
        if (number < 0) {
            if (!name.contains(u'/')) { // else in a nested group, which has been said
                checkUnknownKey(key, zone, name);
            }
            return;
        }
        Places& places = m_places[zone];
        const IniStatement*& place = places.keys.at(static_cast<size_t>(number));
        if (place != nullptr) {
            report("duplicate-key", Severity::Warning, key.begin, zone,
                   u"a second \"%1\", after line %2; the last one counts"_s.arg(name).arg(
                       m_text.placeOf(place->begin).line),
                   u"one line per key"_s);
        }
        place = &key;
    }

    void checkUnknownKey(const IniStatement& key, const QString& zone, const QString& name)
    {
        if (key.written.startsWith('#') || key.written.startsWith("//")) {
            report("no-comment", Severity::Note, key.begin, zone,
                   u"a line that begins with '%1'; it is a key named \"%2\", not a comment"_s.arg(
                       QChar::fromLatin1(key.written.at(0)), shown(key.written)),
                   u"';' before a comment"_s);
            return;
        }
        const QString nearest = nearestWord(name, keys());
        if (nearest.isEmpty()) {
            report("unknown-key", Severity::Note, key.begin, zone,
                   u"the key \"%1\"; it is ignored"_s.arg(shown(key.written)),
                   u"low_treshold, high_treshold, volume or light"_s);
        } else {
            m_zonesWithMisspelling.insert(zone + u'/' + nearest);
            report("misspelt-key", Severity::Error, key.begin, zone,
                   u"the key \"%1\"; it is ignored"_s.arg(shown(key.written)),
                   u"\"%1\", spelled this way"_s.arg(nearest));
        }
    }

    void checkOther(const IniStatement& other)
    {
        const QString found = u"\"%1\"; a line without '=' is ignored"_s.arg(shown(other.written));
        if (other.written.startsWith('#') || other.written.startsWith("//")) {
            report("no-comment", Severity::Note, other.begin, {}, found, u"';' before a comment"_s);
        } else {
            report("no-key", Severity::Warning, other.begin, {}, found,
                   u"KEY=NUMBER, [GROUP], or ';' before a comment"_s);
        }
    }

    void checkGroupsHaveKeys()
    {
        for (auto places = m_places.constBegin(); places != m_places.constEnd(); ++places) {
            if (!m_zonesWithKeys.contains(places.key()) && !places.key().isEmpty()) {
                report("no-keys", Severity::Warning, places->header, places.key(),
                       u"a group without keys; it is not a zone and does not appear in the log"_s,
                       u"at least high_treshold"_s);
            }
        }
    }

    void checkBand(const PowerZone& zone)
    {
        const Places places = m_places.value(zone.name);
        const bool hasKeys = std::any_of(places.keys.begin(), places.keys.end(), [](const auto* key) { return key; });
        if (zone.name.isEmpty() || (!hasKeys && m_nestedGroups.contains(zone.name))) {
            return; // its header says it all
        }
        checkValue(zone, places.keys.at(0), zone.lowThreshold);
        checkValue(zone, places.keys.at(1), zone.highThreshold);
        checkValue(zone, places.keys.at(2), zone.volume);
        checkValue(zone, places.keys.at(3), zone.light);
        checkBounds(zone, places);
        if (zone.isBand()) {
            checkMissingCeilings(zone, places);
            checkCeiling(zone, places.keys.at(2), zone.volume, kLoudestVolume);
            checkCeiling(zone, places.keys.at(3), zone.light, kBrightestLight);
        }
    }

    /// A value that is there, but is not simply a number.
    void checkValue(const PowerZone& zone, const IniStatement* key, int number)
    {
        if (key == nullptr || key->isQuoteOpen || isPlainNumber(key->value)) {
            return;
        }
        const QString name = key->name.section(u'/', -1);
        const QString found = u"\"%1\" for %2 "_s.arg(shown(key->value), name);
        const QString counts = u" and counts as %1"_s.arg(number);
        const QString nearest = leadingNumber(key->value);
        const auto add = [this, &zone, key](const char* id, Severity severity, const QString& what,
                                            const QString& meant) {
            report(id, severity, key->valueBegin, zone.name, what, meant);
        };
        if (key->value.isEmpty()) {
            add("empty-value", Severity::Error, u"no value for %1; it counts as %2"_s.arg(name).arg(number),
                u"a whole number, or no such line"_s);
        } else if (key->value.contains('@') && key->value.contains('(')) {
            add("binary-value", Severity::Warning, found + u"is in Qt's own form" + counts, u"a whole number"_s);
        } else if (key->value.contains('\\')) {
            add("escaped-value", Severity::Warning, found + u"has escapes" + counts, u"a whole number"_s);
        } else if (key->value.contains(',')) {
            add("list-value", Severity::Error, found + u"is a list" + counts,
                nearest.isEmpty() ? u"one whole number"_s : u"one whole number, perhaps "_s + nearest);
        } else {
            add("not-a-number", Severity::Error, found + u"is not a whole number" + counts,
                nearest.isEmpty() ? u"a whole number"_s : u"a whole number, perhaps "_s + nearest);
        }
    }

    void checkBounds(const PowerZone& zone, const Places& places)
    {
        const IniStatement* low = places.keys.at(0);
        const IniStatement* high = places.keys.at(1);
        const qsizetype place = high != nullptr ? high->begin : low != nullptr ? low->begin : places.header;
        if (low != nullptr && plainNumber(low->value).value_or(0) < 0) {
            report("cut-band", Severity::Warning, low->valueBegin, zone.name,
                   u"low_treshold is %1; it counts as 0"_s.arg(shown(low->value)),
                   u"0; the bound is exclusive, and no zone ever has a charge of 0"_s);
        }
        if (high != nullptr && plainNumber(high->value).value_or(0) > ZoneTable::kMaxCharge) {
            report("cut-band", Severity::Warning, high->valueBegin, zone.name,
                   u"high_treshold is %1; it counts as 100"_s.arg(shown(high->value)), u"100"_s);
        }
        if (zone.isBand()) {
            return;
        }
        const QString skipped = u"; the zone is skipped"_s;
        if (high == nullptr) {
            report("missing-bound", Severity::Error, place, zone.name, u"no high_treshold; it counts as 0"_s + skipped,
                   u"high_treshold with the highest charge of the zone"_s);
        } else if (!isPlainNumber(high->value) || (low != nullptr && !isPlainNumber(low->value))) {
            report("no-band", Severity::Error, place, zone.name,
                   u"a band from %1 to %2"_s.arg(zone.lowThreshold).arg(zone.highThreshold) + skipped,
                   u"bounds that are whole numbers"_s);
        } else if (zone.lowThreshold == zone.highThreshold) {
            report("empty-band", Severity::Error, place, zone.name,
                   u"an empty band from %1 to %1"_s.arg(zone.lowThreshold) + skipped,
                   u"a low_treshold below the high_treshold"_s);
        } else {
            report("reversed-band", Severity::Error, place, zone.name,
                   u"a reversed band from %1 to %2"_s.arg(zone.lowThreshold).arg(zone.highThreshold) + skipped,
                   u"low_treshold=%1 and high_treshold=%2"_s.arg(zone.highThreshold).arg(zone.lowThreshold));
        }
    }

    void checkMissingCeilings(const PowerZone& zone, const Places& places)
    {
        QStringList missing;
        for (const qsizetype number : {2, 3}) {
            const QString name = keys().at(number);
            if (places.keys.at(static_cast<size_t>(number)) == nullptr &&
                !m_zonesWithMisspelling.contains(zone.name + u'/' + name)) {
                missing.append(name);
            }
        }
        if (!missing.isEmpty()) {
            report("missing-ceiling", Severity::Note, placeOf(zone), zone.name,
                   u"no %1; what is missing counts as -1 and is left alone"_s.arg(missing.join(u" and no "_s)),
                   u"%1=-1, to make that explicit"_s.arg(missing.join(u"=-1 and "_s)));
        }
    }

    void checkCeiling(const PowerZone& zone, const IniStatement* key, int ceiling, int most)
    {
        if (key == nullptr) {
            return;
        }
        const QString name = key->name.section(u'/', -1);
        if (ceiling < -1) {
            report("negative-ceiling", Severity::Warning, key->valueBegin, zone.name,
                   u"%1 is %2; any negative number leaves it alone"_s.arg(name).arg(ceiling), u"-1"_s);
        } else if (ceiling > most) {
            report(
                "ceiling-too-high", Severity::Warning, key->valueBegin, zone.name,
                u"%1 is %2; the %1 is never above %3, so that the ceiling has no effect"_s.arg(name).arg(ceiling).arg(
                    most),
                u"-1 to leave it alone"_s);
        }
    }

    /// Bands of equal width that overlap, where that decides who owns a charge.
    void checkOverlaps()
    {
        // For each width, the zone that has each percent first.
        QHash<int, std::array<const PowerZone*, ZoneTable::kMaxCharge + 1>> firstOf;
        for (const PowerZone& zone : m_zones) {
            if (!zone.isBand()) {
                continue;
            }
            auto& first = firstOf[zone.highThreshold - zone.lowThreshold];
            const PowerZone* winner = nullptr;
            int from = 0;
            int to = 0;
            for (int charge = zone.lowThreshold + 1; charge <= zone.highThreshold; ++charge) {
                const PowerZone*& owner = first.at(static_cast<size_t>(charge));
                if (owner == nullptr) {
                    owner = &zone;
                } else if (m_table.zones().at(m_table.zoneAt(charge)).name == owner->name) {
                    from = winner == nullptr ? charge : from;
                    winner = winner == nullptr ? owner : winner;
                    to = charge;
                }
            }
            if (winner != nullptr) {
                report("equal-overlap", Severity::Warning, placeOf(zone), zone.name,
                       u"the same width as \"%1\", which owns %2 because its name sorts first"_s.arg(
                           shown(winner->name), rangeText(from, to)),
                       u"bands of different widths, or without overlap"_s);
            }
        }
    }

    /// Who owns the charges, and who does not.
    void checkCharges()
    {
        const QList<ChargeBand> bands = chargeBands(m_table);
        QSet<int> owners;
        qsizetype before = 0;
        for (const ChargeBand& band : bands) {
            if (band.zone < 0) {
                reportGap(band, before);
                continue;
            }
            const PowerZone& zone = m_table.zones().at(band.zone);
            owners.insert(band.zone);
            before = placeOf(zone);
            if (band.to - band.from < m_noise) {
                report("flapping-band", Severity::Warning, before, zone.name,
                       u"the zone owns only %1; a charge that fluctuates by %2 % crosses it back and forth"_s
                           .arg(rangeText(band.from, band.to))
                           .arg(m_noise),
                       u"a wider band"_s);
            }
        }
        for (int index = 0; index < m_table.zones().size(); ++index) {
            const PowerZone& zone = m_table.zones().at(index);
            if (!owners.contains(index)) {
                const PowerZone& coverer = m_table.zones().at(m_table.zoneAt(zone.lowThreshold + 1));
                report("never-applies", Severity::Warning, placeOf(zone), zone.name,
                       u"the zone never applies; others own all of %1, such as \"%2\""_s.arg(
                           rangeText(zone.lowThreshold + 1, zone.highThreshold), shown(coverer.name)),
                       u"other bounds"_s);
            }
        }
    }

    void reportGap(const ChargeBand& band, qsizetype place)
    {
        if (band.to == 0) {
            return; // by design
        }
        if (m_table.zones().isEmpty()) {
            report("no-zones", Severity::Error, 0, {}, u"no zone is loaded from this file"_s,
                   u"a [group] with high_treshold=100"_s);
            return;
        }
        report("gap", Severity::Warning, place, {},
               u"no zone owns %1; the previous zone stays in force there"_s.arg(
                   rangeText(std::max(1, band.from), band.to)),
               u"one wide zone from 0 to 100 besides the narrow ones"_s);
    }

    qsizetype placeOf(const PowerZone& zone) const
    {
        const Places places = m_places.value(zone.name);
        if (places.header >= 0) {
            return places.header;
        }
        const auto key =
            std::find_if(places.keys.begin(), places.keys.end(), [](const auto* k) { return k != nullptr; });
        return key == places.keys.end() ? 0 : (*key)->begin;
    }

    const QByteArray& m_content;
    const IniText m_text;
    const QList<PowerZone> m_zones;
    const ZoneTable m_table;
    const int m_noise;
    QHash<QString, Places> m_places;
    QSet<QString> m_headers;
    QSet<QString> m_nestedGroups;
    QSet<QString> m_zonesWithKeys;
    QSet<QString> m_zonesWithMisspelling;
    QHash<QLatin1StringView, Count> m_counts;
    QList<ZoneFinding> m_findings;
};

} // namespace

QList<ZoneFinding> findingsOf(const QByteArray& content, int noisePercent)
{
    return Linter(content, noisePercent).run();
}
