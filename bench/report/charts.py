"""What the plots show: each scenario's figures by contestant, with the floors and the peers beside the service."""

from collections import namedtuple

from report.figures import Missing, rounds_of, spread
from report.targets import FILTERS, copy_floor, push_time, store_floor

# name: of the file. points: a function of one Round that returns {(series, x): value}. lines: x is a number and both
# axes are logarithmic; otherwise bars, in groups by x.
Chart = namedtuple("Chart", "name scenario title unit lines points")
# place: of the library that it belongs to, None if it is the same for all. label: the name, with the library's if there
# are several.
Series = namedtuple("Series", "name place label")
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


def two_hops(measured, _):
    return measured.get("floor", "floor", "two_hop")


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


def push_call(measured):
    found = {}
    for figure in measured.of_scenario("F"):
        if figure.metric == "p50":
            try:
                subscribers = figure.parameters["S"]
                found[(figure.contestant, over("S")(figure))] = push_time(measured, "F", figure.contestant, "p50",
                                                                          subscribers)
            except Missing:
                pass
    return found


def replay(measured):
    """The time of a replay over copying and freeing the records, and that of the lock over copying them."""
    found = {}
    for metric, floor, name in (("replay_time", "copy_remote_free", "replay"), ("lock_hold", "copy", "lock hold")):
        for figure in measured.of_scenario("G"):
            if figure.metric == metric:
                size, live = figure.parameters["K"], figure.parameters["live"]
                label = f"{name}, K = {size:g}, " + (f"{live:g}/s live" if live else "idle")
                found[(figure.contestant, label)] = figure.value
                add_floor(found, lambda m, k, f=floor: m.get("G", "floor", f, K=k), measured, size, label)
    return found


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
    found = plain("M", {"purge_per_record": "purge of a record"})(measured)
    for name, scenario, metric in (("service", "M", "push_p50"), ("service, F", "F", "p50")):
        try:
            found[(name, "push (median), S = 8")] = push_time(measured, scenario, "service", metric, 8)
        except Missing:
            pass
    if found:
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


def chart(scenario, title, unit, points, lines=False, name=None):
    return Chart(name or scenario.lower(), scenario, f"{scenario}: {title}", unit, lines, points)


def all_charts():
    return [
        chart("A", "notifications per second, everybody accepts everything", "1/s",
              of_metric("A", "rate", "S", over("S"), copy_floor_rate, only=(1, 8, 64, 256))),
        chart("B", "notifications per second with a store of 100", "1/s", beside_a("B")),
        chart("C", "time per notification over the size of the full store", "s", store_growth, lines=True),
        chart("D", "median latency at low load", "s", of_metric("D", "p50", "S", over("S"), two_hops)),
        chart("E", "99th percentile of the latency in a burst of 64", "s", of_metric("E", "p99", "S", over("S"))),
        chart("F", "median time of the producer's call", "s", push_call),
        chart("G", "time of a replay, and of the lock that it holds", "s", replay),
        chart("H", "time of one refused offer", "s", filter_points),
        chart("H", "notifications per second, all 64 accept by an expression", "1/s", beside_a("H"), name="h-accept"),
        chart("I", "events per delivery", "",
              plain("I", {"system_calls_per_delivery": "system calls",
                          "context_switches_per_delivery": "context switches", "runs_per_delivery": "runs"})),
        chart("J", "memory", "bytes",
              plain("J", {"resident_records": "100000 records", "per_subscription": "per idle subscription",
                          "per_timer": "per timer"})),
        chart("K", "notifications per second, traces compiled in and out", "1/s", plain("K", {"rate": "rate"})),
        chart("L", "notifications per second of seven beside a slow one", "1/s", beside_a("L")),
        chart("M", "time of the producer's call and of a purge in an overflow", "s", overflow_points),
        chart("N", "notifications per second while subscriptions come and go", "1/s", beside_a("N")),
        chart("O", "time per notification over the number of subscribers", "s", growth_in_subscribers, lines=True),
    ]


def is_shared(series):
    return not series.startswith(("service", "without_trace", FLOOR + ","))


def series_of(chart, figures, libraries):
    """{Series: {x: Spread}} over the rounds.

    With several libraries the series of the service, and the floors made of its figures ("floor, ..."), bear their
    names; peers and other floors are the same for all.
    """
    values = {}
    for place, library in enumerate(libraries):
        for measured in rounds_of(figures, library):
            for (name, x), value in chart.points(measured).items():
                series = (Series(name, None, name) if is_shared(name)
                          else Series(name, place, f"{name} ({library})" if len(libraries) > 1 else name))
                values.setdefault(series, {}).setdefault(x, []).append(value)
    return {series: {x: spread(group) for x, group in by_x.items()} for series, by_x in values.items()}
