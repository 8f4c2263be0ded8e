// Phasors from the feed to the outlets and back.

#include "appliance/model/electricity.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "appliance/model/protection.h"
#include "appliance/model/sampling.h"
#include "appliance/model/waver.h"

using phasor = std::complex<double>;

static constexpr double load_waver = 0.02; // of the load's own size
static constexpr double feed_waver = 0.005;
static constexpr int64_t waver_ms = 20'000; // from one turning point to the next

// --- Wavering -------------------------------------------------------------------------------------------------------

// What wavers and when: `source` counts along the chain.
struct wavering {
    const chain &units;
    int64_t at_ms;
    uint64_t source = 0;

    double next()
    {
        source++;
        return units.noise ? waver(units.seed, source, at_ms, waver_ms) : 0;
    }
};

// --- One unit -------------------------------------------------------------------------------------------------------

// What flows at a node: real power in W and reactive power in var, in a phasor, and voltage and current by size. A
// phase of a delta may be a hair below nothing, where a load of the least power factor meets wavering voltages.
static reading read_flow(const phasor &power, double volts, double amperes)
{
    reading taken;
    double apparent = volts * amperes;
    taken[quantity::current] = amperes;
    taken[quantity::voltage] = volts;
    taken[quantity::power] = power.real();
    taken[quantity::power_factor] = apparent > 0 ? std::min(power.real() / apparent, 1.0) : 0;
    return taken;
}

static phasor drawn_by(const outlet &one, double waver)
{
    if (!one.on)
        return 0;
    double watts = one.load.watts * (1 + load_waver * waver), factor = one.load.power_factor;
    return {watts, watts * std::sqrt(1 / (factor * factor) - 1)};
}

// The conductors of a unit: the neutral at 0, the phases from 1.
struct conductors {
    std::array<phasor, most_phases + 1> volts{};
    std::array<phasor, most_phases + 1> amperes{};

    phasor between(int from, int to) const { return volts[static_cast<size_t>(from)] - volts[static_cast<size_t>(to)]; }
    void carry(int from, int to, const phasor &power)
    {
        phasor current = std::conj(power / between(from, to));
        amperes[static_cast<size_t>(from)] += current;
        amperes[static_cast<size_t>(to)] -= current;
    }
};

static conductors feed_of(const unit &fed, wavering &waver)
{
    conductors feed;
    for (size_t number = 1; number <= fed.phases.size(); number++) {
        double angle = -2 * std::numbers::pi / 3 * static_cast<double>(number - 1);
        feed.volts[number] = std::polar(fed.volts * (1 + feed_waver * waver.next()), angle);
    }
    return feed;
}

// The power on each circuit, the first phase's own outlets at 0. Readings of the outlets are taken on the way.
static std::array<phasor, most_circuits + 1> load_circuits(unit &fed, const conductors &feed, wavering &waver)
{
    std::array<double, most_circuits + 1> volts{};
    volts[0] = std::abs(feed.between(1, 0));
    for (size_t i = 0; i < fed.circuits.size(); i++)
        volts[i + 1] = std::abs(feed.between(fed.circuits[i].from_phase, fed.circuits[i].to_phase));

    std::array<phasor, most_circuits + 1> power{};
    for (outlet &one : fed.outlets) {
        size_t circuit = static_cast<size_t>(one.circuit);
        double own_waver = waver.next(); // also of one that draws nothing, or the others would waver anew
        if (!is_fed(fed, one)) {
            take_reading(one.measured, {});
            continue;
        }
        phasor drawn = drawn_by(one, own_waver);
        power[circuit] += drawn;
        take_reading(one.measured, read_flow(drawn, volts[circuit], std::abs(drawn) / volts[circuit]));
    }
    return power;
}

static void measure_phases(unit &fed, const conductors &feed)
{
    phasor power = 0;
    double volts = 0, amperes = 0;
    for (size_t number = 1; number <= fed.phases.size(); number++) {
        phasor carried = feed.volts[number] * std::conj(feed.amperes[number]);
        double size = std::abs(feed.volts[number]), current = std::abs(feed.amperes[number]);
        take_reading(fed.phases[number - 1].measured, read_flow(carried, size, current));
        power += carried;
        volts += size;
        amperes += current;
    }
    take_reading(fed.measured, read_flow(power, volts / static_cast<double>(fed.phases.size()), amperes));
}

static void measure_unit(unit &fed, wavering &waver)
{
    conductors feed = feed_of(fed, waver);
    std::array<phasor, most_circuits + 1> power = load_circuits(fed, feed, waver);
    feed.carry(1, 0, power[0]);
    for (size_t i = 0; i < fed.circuits.size(); i++) {
        circuit &one = fed.circuits[i];
        double volts = std::abs(feed.between(one.from_phase, one.to_phase));
        feed.carry(one.from_phase, one.to_phase, power[i + 1]);
        take_reading(one.measured, read_flow(power[i + 1], volts, std::abs(power[i + 1]) / volts));
    }
    measure_phases(fed, feed);
}

// --- The chain ------------------------------------------------------------------------------------------------------

template <class Treat> static void each_unit(chain &units, Treat treat)
{
    for (port_line &port : units.ports)
        for (unit &one : port.units)
            if (!one.phases.empty())
                treat(one);
}

template <class Treat> static void each_meter(unit &holder, Treat treat)
{
    treat(holder.measured);
    for (phase &one : holder.phases)
        treat(one.measured);
    for (circuit &one : holder.circuits)
        treat(one.measured);
    for (outlet &one : holder.outlets)
        treat(one.measured);
}

void measure(chain &units, int64_t at_ms)
{
    do {
        wavering waver{.units = units, .at_ms = at_ms};
        each_unit(units, [&](unit &one) { measure_unit(one, waver); });
    } while (break_overloads(units));
}

double nominal_volts(const unit &unit, const outlet &outlet)
{
    bool between_phases = outlet.circuit > 0 && unit.circuits[static_cast<size_t>(outlet.circuit - 1)].to_phase > 0;
    return unit.volts * (between_phases ? std::numbers::sqrt3 : 1);
}

void start_meters(chain &units, int64_t at_ms, int64_t date)
{
    each_unit(units, [&](unit &one) { each_meter(one, [&](meter &its) { reset_energy(its, date); }); });
    measure(units, at_ms);
}

void forget_extremes(unit &holder)
{
    each_meter(holder, [](meter &its) { its.kept = {}; });
}

void run_meters(chain &units, int64_t from_ms, int64_t to_ms)
{
    each_sample(from_ms, to_ms, [&](double seconds, int64_t at_ms) {
        each_unit(units, [&](unit &one) { each_meter(one, [&](meter &its) { let_pass(its, seconds); }); });
        measure(units, at_ms);
    });
}
