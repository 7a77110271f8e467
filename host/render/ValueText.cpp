#include "host/render/ValueText.h"

#include <cmath>
#include <map>

namespace ketmon {

using namespace KetStats;

namespace {

constexpr int mostPlaces = 20;
constexpr unsigned int shortNameIndex = 1; // of the formats of protocol ids

template <class Format>
void addFormats(CStatFormatContainerBase & list, std::vector<Multiplier const *> const & choices,
                std::optional<int> precision)
{
    for (Multiplier const * const multiplier : choices) {
        auto * const format = new Format;
        format->setMultiplier(multiplier);
        if (precision)
            format->setFractionDigits(*precision);
        list.push_back(format);
    }
}

} // namespace

void addValueTextOptions(CLI::App & command, CValueTextOptions & options)
{
    std::map<std::string, Multiplying> const names{
        {"none", Multiplying::none}, {"binary", Multiplying::binary}, {"decimal", Multiplying::decimal}};
    command
        .add_option_function<std::string>(
            "--multiplier",
            [&options, names](std::string const & name) { options.multiplier = names.at(name); },
            "Write large numbers in K, M, G ... of 1024 (binary) or k, M, G ... of 1000 (decimal), or as "
            "they "
            "are (none). Tables are binary unless given, JSON has plain numbers")
        ->check(CLI::IsMember({"none", "binary", "decimal"}))
        ->type_name("none|binary|decimal");
    command
        .add_option_function<int>(
            "--precision", [&options](int places) { options.precision = places; },
            "Places behind the point, 0 to 20")
        ->check(CLI::Range(0, mostPlaces))
        ->type_name("N");
}

CValueText::CValueText(Multiplying multiplying, std::optional<int> precision)
    : m_multipliers{nullptr},
      m_integers(StandardIntegerFormats->size() + CustomIntegerFormats->size()),
      m_doubles(StandardDoubleFormats->size() + CustomDoubleFormats->size()),
      m_ports(StandardProtocolIdFormats->size() + CustomProtocolIdFormats->size())
{
    if (multiplying != Multiplying::none)
        for (unsigned int i = multiplying == Multiplying::binary ? 0 : 1; i < multiplierCount; i += 2)
            m_multipliers.push_back(multipliers[i]);
    addFormats<CIntegerFormat>(*CustomIntegerFormats, m_multipliers, precision);
    addFormats<CFixedPointStatFormat>(*CustomDoubleFormats, m_multipliers, precision);
    CustomProtocolIdFormats->push_back(new CIntegerFormat);
}

unsigned int CValueText::chosen(double value) const
{
    unsigned int index = 0;
    while (index + 1 < m_multipliers.size() &&
           std::fabs(value) >= static_cast<double>(m_multipliers[index + 1]->value))
        ++index;
    return index;
}

std::string CValueText::operator()(CBaseStat const & leaf) const
{
    CStatDescription const & description = *leaf.getDescription();
    if (!description.isNumeric())
        return protocolText(leaf);
    double const value = description.getNumeric(&leaf);
    if (!std::isfinite(value))
        return "-";
    unsigned int const first = description.isInteger() ? m_integers : m_doubles;
    return description.formatValue(&leaf, first + chosen(value), nullptr);
}

std::string CValueText::protocolText(CBaseStat const & leaf) const
{
    CBaseStat const * const row = leaf.getParent();
    if (!dynamic_cast<CValueStat<CProtocolIdPacked> const *>(&leaf))
        return textOf(leaf);
    if (dynamic_cast<CGenProtoStat<0> const *>(row))
        return leaf.getDescription()->formatValue(&leaf, shortNameIndex, nullptr);
    if (dynamic_cast<CTcpPortStat const *>(row) || dynamic_cast<CUdpPortStat const *>(row))
        return leaf.getDescription()->formatValue(&leaf, m_ports, nullptr);
    return textOf(leaf);
}

std::string CValueText::aligned(CBaseStat const & leaf) const
{
    std::string text = (*this)(leaf);
    bool const number = leaf.getDescription()->isNumeric();
    if (number && m_multipliers.size() > 1 && chosen(leaf.getNumeric()) == 0)
        text.append(1 + m_multipliers[1]->abbrev.size(), ' ');
    return text;
}

std::string textOf(CBaseStat const & leaf)
{
    return leaf.getDescription()->formatValue(&leaf, 0, nullptr);
}

std::vector<CBaseStat const *> rowsOf(CBaseStat const & table)
{
    auto const & container = dynamic_cast<CBaseHashedContainerStat const &>(table);
    std::vector<CBaseStat const *> rows;
    rows.reserve(container.size());
    for (unsigned int id = container.getOldestId(); id != 0; id = container.getNextNewerId(id))
        rows.push_back(container.rowById(id));
    return rows;
}

} // namespace ketmon
