"""What the plots show: each scenario's figures by contestant, with the floors and the peers beside the service."""

from collections import namedtuple

from report.figures import Missing, rounds_of, spread
from report.targets import FILTERS, copy_floor, store_floor

# points: a function of one Round that returns {(series, x): value}. lines: x is a number and both axes are logarithmic;
# otherwise bars, in groups by x.
Chart = namedtuple("Chart", "scenario title unit lines points")
FLOOR = "floor"


def of_metric(scenario, metric, x, label, floor=None, only=None):
    """The metric of every contestant over the parameter x, or over some values of it.

    floor: the floor's value for a Round and an x.
    """

    def points(measured):
        found = {}
        for figure in measured.of_scenario(scenario):
            value = figure.parameters.get(x)
            if figure.metric == metric and value is not None and (only is None or value in only):
                found[(figure.contestant, label(figure))] = figure.value
                add_floor(found, floor, measured, value, label(figure))
        return found

    return points


def add_floor(found, floor, measured, value, label):
    try:
        if floor:
            found[(FLOOR, label)] = floor(measured, value)
    except Missing:
        pass


def over(name):
    return lambda figure: f"{name} = {figure.parameters[name]:g}"


def copy_floor_rate(measured, subscribers):
    return 1 / ((2 + subscribers) * copy_floor(measured))


def store_growth(measured):
    """Time per notification over the store's size, beside that of A with the time of the shift on top."""
    found = {}
    for figure in measured.of_scenario("C"):
        if figure.metric == "rate":
            size, subscribers = figure.parameters["K"], figure.parameters["S"]
            found[(f"service, S = {subscribers:g}", size)] = 1 / figure.value
            try:
                found[(f"floor, S = {subscribers:g}", size)] = store_floor(measured, subscribers, size)
            except Missing:
                pass
    return found


def growth_in_subscribers(measured):
    return {("service", figure.parameters["S"]): 1 / figure.value
            for figure in measured.find("A", "service", "rate")}


def replay_points(metric, floor):
    def points(measured):
        found = {}
        for figure in measured.of_scenario("G"):
            if figure.metric == metric and "live" in figure.parameters:
                size = figure.parameters["K"]
                live = figure.parameters["live"]
                label = f"K = {size:g}, " + (f"{live:g}/s live" if live else "idle")
                found[(figure.contestant, label)] = figure.value
                add_floor(found, lambda m, k: m.get("G", "floor", floor, K=k), measured, size, label)
        return found

    return points


def filter_points(measured):
    found = {}
    for kind, name in FILTERS:
        for series, contestant, metric in (("service", f"service-{kind}", "refused_offer"),
                                           ("service, by regexec", "service-regexec", "refused_offer"),
                                           ("regexec alone", f"floor-{kind}", "regexec")):
            for figure in measured.find("H", contestant, metric):
                found[(series, name.replace("`", ""))] = figure.value
    return found


def plain(scenario, metrics):
    """Several metrics of one scenario, each a group of bars."""

    def points(measured):
        found = {}
        for figure in measured.of_scenario(scenario):
            if figure.metric in metrics:
                parameter = f", S = {figure.parameters['S']:g}" if "S" in figure.parameters else ""
                found[(figure.contestant, metrics[figure.metric] + parameter)] = figure.value
        return found

    return points


def overflow_points(measured):
    """The producer's call beside that of F, the purge of a record beside freeing it."""
    found = plain("M", {"push_p50": "push (median)", "purge_per_record": "purge of a record"})(measured)
    if found:
        for figure in measured.find("F", "service", "p50", S=8):
            found[("service, F", "push (median), S = 8")] = figure.value
        for figure in measured.find("floor", "floor", "free"):
            found[(FLOOR, "purge of a record, S = 8")] = figure.value
    return found


def beside_a(scenario):
    """The rate of a scenario, and that of A with as many subscribers."""

    def points(measured):
        found = {}
        for figure in measured.of_scenario(scenario):
            if figure.metric == "rate" and "S" in figure.parameters:
                label = over("S")(figure)
                found[(f"{figure.contestant}, {scenario}", label)] = figure.value
                for other in measured.find("A", "service", "rate", S=figure.parameters["S"]):
                    found[("service, A", label)] = other.value
        return found

    return points


def all_charts():
    return [
        Chart("A", "A: notifications per second, everybody accepts everything", "1/s", False,
              of_metric("A", "rate", "S", over("S"), copy_floor_rate, only=(1, 8, 64, 256))),
        Chart("B", "B: notifications per second with a store of 100", "1/s", False, beside_a("B")),
        Chart("C", "C: time per notification over the size of the full store", "s", True, store_growth),
        Chart("D", "D: median latency at low load", "s", False,
              of_metric("D", "p50", "S", over("S"), lambda measured, _: measured.get("floor", "floor", "two_hop"))),
        Chart("E", "E: 99th percentile of the latency in a burst of 64", "s", False,
              of_metric("E", "p99", "S", over("S"))),
        Chart("F", "F: median time of the producer's call", "s", False, of_metric("F", "p50", "S", over("S"))),
        Chart("G", "G: time of a replay", "s", False, replay_points("replay_time", "copy_remote_free")),
        Chart("H", "H: time of one refused offer", "s", False, filter_points),
        Chart("I", "I: events per delivery", "", False,
              plain("I", {"system_calls_per_delivery": "system calls",
                          "context_switches_per_delivery": "context switches", "runs_per_delivery": "runs"})),
        Chart("J", "J: memory", "bytes", False,
              plain("J", {"resident_records": "100000 records", "per_subscription": "per idle subscription",
                          "per_timer": "per timer"})),
        Chart("K", "K: notifications per second, traces compiled in and out", "1/s", False,
              plain("K", {"rate": "rate"})),
        Chart("L", "L: notifications per second of seven beside a slow one", "1/s", False, beside_a("L")),
        Chart("M", "M: time of the producer's call and of a purge in an overflow", "s", False,
              overflow_points),
        Chart("N", "N: notifications per second while subscriptions come and go", "1/s", False, beside_a("N")),
        Chart("O", "O: time per notification over the number of subscribers", "s", True, growth_in_subscribers),
    ]


def is_shared(series):
    return not series.startswith(("service", "without_trace", FLOOR + ","))


def series_of(chart, figures, libraries):
    """{series: {x: Spread}} over the rounds.

    With several libraries the series of the service, and the floors made of its figures ("floor, ..."), bear their
    names; peers and other floors are the same for all.
    """
    values = {}
    for library in libraries:
        for measured in rounds_of(figures, library):
            for (series, x), value in chart.points(measured).items():
                name = f"{series} ({library})" if len(libraries) > 1 and not is_shared(series) else series
                values.setdefault(name, {}).setdefault(x, []).append(value)
    return {name: {x: spread(group) for x, group in by_x.items()} for name, by_x in values.items()}
