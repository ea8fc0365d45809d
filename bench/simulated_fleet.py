"""What the controllers of many homes would export, without the homes."""
import math
import pathlib
import random
import re
import struct

EXAMPLE = pathlib.Path(__file__).resolve().parent.parent / "tests" / "packaging" / "metrics-plain.txt"
# Address, powers and energies by way, tariffs: the home that ships with the simulated house.
METERS = [("1", "40000123AB", ("import", "export"), 2), ("2", "PV20261107", ("export",), 0),
          ("3", "30115577", ("import",), 0), ("4", "BAT000004711", ("import", "export"), 6)]
POLL_SECONDS = 2.5
JOULES_AN_HOUR = 3.6e6


def single(number):
    """As the daemon's numbers, which all pass through single precision."""
    return struct.unpack("f", struct.pack("f", number))[0]


class Home:
    """Each text is a moment later than the one before, and says so of counters, powers and ages."""

    def __init__(self, number):
        self.random = random.Random(number)
        self.start = self.random.uniform(1e6, 1e8)
        self.watts = {}
        self.joules = {}

    def power(self, meter, way, moment):
        day = math.sin(2 * math.pi * moment / 86400 + len(meter))
        watts = single(max(0, 1500 * day + self.random.gauss(0, 200)))
        # Half of the meters have whole watts.
        return watts if meter < "3" else round(watts)

    def energy(self, key, watts, seconds):
        before = self.joules.setdefault(key, self.random.uniform(1000, 30000) * JOULES_AN_HOUR)
        self.joules[key] = before + watts * seconds
        return single(self.joules[key])

    def samples(self, moment, seconds):
        """Name, labels and value of each, @p seconds after the text before."""
        polls = int((self.start + moment) / POLL_SECONDS)
        age = round(self.random.uniform(0, POLL_SECONDS), 3)
        yield "modbus_inspector_build_info", 'version="1.4.0"', 1
        for name, value in [
                ("polls_total", polls), ("poll_age_seconds", age),
                ("poll_duration_seconds_sum", round(polls * POLL_SECONDS + age, 3)),
                ("poll_duration_seconds_count", polls),
                ("last_poll_duration_seconds", round(POLL_SECONDS + age / 10, 3)),
                ("restarts_total", 0), ("assertion_failures_total", 0), ("server_failures_total", 0),
                ("messages_delivered_total", polls * len(METERS)), ("messages_lost_total", 0)]:
            yield f"modbus_reader_{name}", "", value
        for address, meter, ways, tariffs in METERS:
            yield from self.samples_of_meter(address, meter, ways, tariffs, moment, seconds)

    def samples_of_meter(self, address, meter, ways, tariffs, moment, seconds):
        labels = f'slave_address="{address}",meter="{meter}"'
        polls = int((self.start + moment) / POLL_SECONDS)
        for way in ways:
            watts = self.power(address, way, moment)
            yield f"modbus_meter_power_{way}_watts", labels, watts
            yield (f"modbus_meter_energy_{way}_joules_total", labels,
                   self.energy((address, way), watts, seconds))
            for tariff in range(1, tariffs + 1):
                # One of them is in force, by the hour.
                share = watts if int(moment / 3600) % tariffs == tariff - 1 else 0
                yield (f"modbus_meter_energy_{way}_tariff_joules_total",
                       f'{labels},tariff="{tariff}"', self.energy((address, way, tariff), share, seconds))
        age = round(self.random.uniform(1, 2 * POLL_SECONDS), 3)
        for name, value in [("reading_age_seconds", age), ("good_reading_age_seconds", age),
                            ("polls_total", polls), ("good_polls_total", polls - 3),
                            ("energy_decreases_total", 0), ("energy_jumps_total", 0)]:
            yield f"modbus_meter_{name}", labels, value


def number(value):
    return str(int(value)) if value == int(value) else repr(value)


def heads():
    """The comment lines in front of each metric, by its name, in the order of the example."""
    found = re.findall(r"((?:# .+\n)+)((?:[^#].*\n)*)", EXAMPLE.read_text())
    return {re.search(r"# TYPE (\w+)", comments)[1]: comments for comments, _ in found}


HEADS = heads()


def family_of(name):
    return name if name in HEADS else re.sub("_(sum|count)$", "", name)


def exposition(samples):
    """The text of one home."""
    lines = {}
    for name, labels, value in samples:
        braces = f"{{{labels}}}" if labels else ""
        lines.setdefault(family_of(name), []).append(f"{name}{braces} {number(value)}\n")
    return "".join(head + "".join(lines[family]) for family, head in HEADS.items() if family in lines)


def history(homes, seconds, interval):
    """The same of some homes over a time, as OpenMetrics with moments, metric by metric."""
    fleet = [Home(n) for n in range(homes)]
    families = {}
    for moment in range(0, seconds, interval):
        for n, home in enumerate(fleet):
            for name, labels, value in home.samples(moment, interval):
                text = f'{name}{{job="modbus",instance="home-{n}"{"," if labels else ""}{labels}}}'
                families.setdefault(family_of(name), []).append(f"{text} {number(value)} {moment}\n")
    for family, lines in families.items():
        yield f"# TYPE {family} unknown\n"
        yield from lines
    yield "# EOF\n"
