"""The table of targets: one row for each thing that is promised, with the way from the figures of a round to it.

A row's value is a function of one Round (see figures.py) and returns a plain number, most often a ratio of two figures
of that round. It raises Missing if the round lacks one of them.
"""

from collections import namedtuple

from report.figures import Missing, exponent, ratio
from report.table import number, part_of_one, percent

# parameters, reported: what stands in the table. target: a Target, or None for a row that is shown for its own sake.
# digits: how what was measured is written.
Row = namedtuple("Row", "scenario parameters reported target value digits", defaults=(number,))

SERVICE = "service"


class Target:
    """A bound that the median is held against. It marks a row; nothing fails by it."""

    def __init__(self, limit, text, at_most):
        self.limit = limit
        self.text = text
        self._at_most = at_most

    def is_met(self, value):
        return value <= self.limit if self._at_most else value >= self.limit


def at_least(limit, text=None):
    return Target(limit, f"≥ {text or format(limit, 'g')}", at_most=False)


def at_most(limit, text=None):
    return Target(limit, f"≤ {text or format(limit, 'g')}", at_most=True)


def rate(measured, scenario, contestant=SERVICE, **parameters):
    return measured.get(scenario, contestant, "rate", **parameters)


def copy_floor(measured):
    """Seconds that the copy and the release of one record take on one thread."""
    return measured.get("floor", "floor", "copy_free")


def rate_over(scenario, contestant, subscribers):
    return lambda measured: ratio(rate(measured, scenario, S=subscribers),
                                  rate(measured, scenario, contestant, S=subscribers))


def rate_over_a(scenario, subscribers):
    return lambda measured: ratio(rate(measured, scenario, S=subscribers), rate(measured, "A", S=subscribers))


def saturation():
    rows = []
    for subscribers, target in ((1, .20), (8, .24), (64, .27), (256, .24)):
        # The store's copy and one for each subscriber, and the producer's: 2 + S for each notification.
        rows.append(Row("A", f"S = {subscribers}", "fraction of the copy floor", at_least(target),
                        lambda measured, s=subscribers: rate(measured, "A", S=s) * (2 + s) * copy_floor(measured)))
    peers = (("condvar", "condvar peer", (1.2, 8, 15, 12)), ("zeromq", "ZeroMQ", (.3, 1.2, 11, 12)),
             ("nats", "NATS core", (.8, 4.5, 14, 20)), ("poco_queue", "POCO queue", (None,) * 4),
             ("nats_own", "NATS core, own connections", (None,) * 4), ("jetstream", "NATS JetStream", (None,) * 4))
    for contestant, name, targets in peers:
        for subscribers, target in zip((1, 8, 64, 256), targets):
            rows.append(Row("A", f"S = {subscribers}", f"rate over {name}", at_least(target) if target else None,
                            rate_over("A", contestant, subscribers)))
    return rows


def default_store():
    return [Row("B", f"K = 100, W = 90, S = {subscribers}", "rate over A", at_least(.9), rate_over_a("B", subscribers))
            for subscribers in (1, 8, 64, 256)]


def store_floor(measured, subscribers, size):
    """Seconds per notification that A takes, and the shift of a full store of this size on top."""
    return 1 / rate(measured, "A", S=subscribers) + measured.get("floor", "floor", "shift", K=size)


def store_growth():
    def cost_over_floor(measured, subscribers):
        return ratio(1 / rate(measured, "C", S=subscribers, K=100000), store_floor(measured, subscribers, 100000))

    def growth(measured, subscribers):
        points = measured.curve("C", SERVICE, "rate", "K", S=subscribers)
        return exponent([(size, 1 / value) for size, value in points if size <= 5000])

    rows = []
    for subscribers in (1, 8):
        rows.append(Row("C", f"K = 100000, S = {subscribers}", "cost over (A + shift floor)", at_most(1.1),
                        lambda measured, s=subscribers: cost_over_floor(measured, s)))
        rows.append(Row("C", f"K = 100 ... 5000, S = {subscribers}", "exponent of the cost", at_most(.05),
                        lambda measured, s=subscribers: growth(measured, s)))
    return rows


def low_load():
    rows = [Row("D", "S = 1", "p50 over the two-hop floor", at_most(1.15),
                lambda measured: ratio(measured.get("D", SERVICE, "p50", S=1),
                                       measured.get("floor", "floor", "two_hop")))]
    for subscribers, target in ((1, .2), (8, .4), (64, .6)):
        rows.append(Row("D", f"S = {subscribers}", "p50 over NATS core", at_most(target),
                        lambda measured, s=subscribers: ratio(measured.get("D", SERVICE, "p50", S=s),
                                                              measured.get("D", "nats", "p50", S=s))))
    return rows


def burst():
    return [Row("E", f"S = {subscribers}", "p99 over condvar peer", at_most(target, format(target, ".1f")),
                lambda measured, s=subscribers: ratio(measured.get("E", SERVICE, "p99", S=s),
                                                      measured.get("E", "condvar", "p99", S=s)))
            for subscribers, target in ((8, 1.0), (64, 1.2))]


def push_time(measured, scenario, contestant, metric, subscribers):
    """Seconds that the producer's call takes: less the clock that is read before and after it."""
    time = measured.get(scenario, contestant, metric, S=subscribers) - measured.get("floor", "floor", "clock")
    if time <= 0:
        raise Missing(f"{scenario} {contestant} {metric} that takes longer than the clock")
    return time


def push_call():
    def p50(measured, contestant, subscribers):
        return push_time(measured, "F", contestant, "p50", subscribers)

    return [Row("F", "S = 64", "p50 over that at S = 1", at_most(1.2),
                lambda measured: ratio(p50(measured, SERVICE, 64), p50(measured, SERVICE, 1))),
            Row("F", "S = 64", "p50 over condvar peer", at_most(1 / 1500, part_of_one(1 / 1500)),
                lambda measured: ratio(p50(measured, SERVICE, 64), p50(measured, "condvar", 64)), part_of_one)]


def replay():
    def over_floor(measured, figure, floor, size, live):
        return ratio(measured.get("G", SERVICE, figure, K=size, live=live), measured.get("G", "floor", floor, K=size))

    rows = []
    for size in (5000, 100000):
        for live in (0, 10000):
            parameters = f"K = {size}, " + (f"{live}/s live" if live else "idle")
            rows.append(Row("G", parameters, "time over (copy + remote free)", at_most(1.2),
                            lambda measured, k=size, l=live: over_floor(measured, "replay_time", "copy_remote_free",
                                                                        k, l)))
            rows.append(Row("G", parameters, "lock hold over copy floor", at_most(1.15),
                            lambda measured, k=size, l=live: over_floor(measured, "lock_hold", "copy", k, l)))
    return rows


# Contestants of scenario H: a filter that refuses, and what the table calls it.
FILTERS = (("prefix", "literal prefix"), ("dot_star_end", "`.*$`"), ("alternation", "alternation"),
           ("subtree", "subtree of 4 levels"))


def filters():
    def offer(measured, kind, metric):
        return measured.get("H", f"service-{kind}", metric, S=64)

    rows = []
    for kind, name in FILTERS:
        rows.append(Row("H", f"S = 64, {name}", "refused offer over one by regexec", at_most(.09),
                        lambda measured, k=kind: ratio(offer(measured, k, "refused_offer"),
                                                       offer(measured, "regexec", "refused_offer"))))
        rows.append(Row("H", f"S = 64, {name}", "refused offer over regexec alone", None,
                        lambda measured, k=kind: ratio(offer(measured, k, "refused_offer"),
                                                       measured.get("H", f"floor-{k}", "regexec", S=64))))
        rows.append(Row("H", f"S = 64, {name}", "allocations per refused offer", at_most(0),
                        lambda measured, k=kind: offer(measured, k, "refused_allocations")))
    rows.append(Row("H", "S = 64, all accept", "rate over A", at_least(.95), rate_over_a("H", 64)))
    return rows


def events():
    rows = []
    for subscribers in (8, 64):
        for metric, name, target in (("allocations_per_copy", "allocations per copy", 5.1),
                                     ("system_calls_per_delivery", "system calls per delivery", .10),
                                     ("context_switches_per_delivery", "context switches per delivery", .07),
                                     ("runs_per_delivery", "runs per delivery", .02)):
            rows.append(Row("I", f"S = {subscribers}", name, at_most(target),
                            lambda measured, m=metric, s=subscribers: measured.get("I", SERVICE, m, S=s)))
    return rows


def memory():
    kilobyte = 1024.0
    return [Row("J", "100000 records", "resident over the allocator's floor", at_most(1.08),
                lambda measured: ratio(measured.get("J", SERVICE, "resident_records"),
                                       measured.get("J", "floor", "resident_records"))),
            Row("J", "256 idle subscriptions", "KB per idle subscription", at_most(1.4),
                lambda measured: measured.get("J", SERVICE, "per_subscription") / kilobyte),
            Row("J", "timers", "KB per timer", at_most(10),
                lambda measured: measured.get("J", SERVICE, "per_timer") / kilobyte)]


def trace_off():
    return [Row("K", "A, traces compiled in against out", "loss", at_most(.01, percent(.01)),
                lambda measured: measured.get("K", SERVICE, "loss", S=8), percent)]


def slow_one():
    return [Row("L", "S = 8, one takes 1 ms", "the others' rate over A", at_least(.9), rate_over_a("L", 8)),
            Row("L", "S = 8, one takes 1 ms", "producer's p50 over F", at_most(1.1),
                lambda measured: ratio(push_time(measured, "L", SERVICE, "push_p50", 8),
                                       push_time(measured, "F", SERVICE, "p50", 8)))]


def overflow():
    return [Row("M", "K = 100, S = 8", "push p50 over F", at_most(1.5),
                lambda measured: ratio(push_time(measured, "M", SERVICE, "push_p50", 8),
                                       push_time(measured, "F", SERVICE, "p50", 8))),
            Row("M", "K = 100, S = 8", "purge per record over free floor", at_most(1.5),
                lambda measured: ratio(measured.get("M", SERVICE, "purge_per_record", S=8),
                                       measured.get("floor", "floor", "free")))]


def churn():
    return [Row("N", "S = 64, 100/s", "rate over A", at_least(.85), rate_over_a("N", 64))]


def growth_in_subscribers():
    def growth(measured):
        points = measured.curve("A", SERVICE, "rate", "S")
        return exponent([(subscribers, 1 / value) for subscribers, value in points if subscribers >= 8])

    return [Row("O", "S = 8 ... 256", "exponent of time per notification", at_most(1.0, "1.0"), growth)]


def idle():
    return [Row("idle", "S = 64", "µs of CPU time in a second", None,
                lambda measured: measured.get("idle", SERVICE, "cpu_per_second") * 1e6)]


# What else a scenario is held against, by the beginnings of the names of the cases. The floors always run.
NEEDS = {"B": ("A/service/",), "C": ("A/service/",), "H": ("A/service/",), "N": ("A/service/",), "O": ("A/service/",),
         "L": ("A/service/", "F/service/"), "M": ("F/service/",)}


def all_rows():
    parts = (saturation, default_store, store_growth, low_load, burst, push_call, replay, filters, events, memory,
             trace_off, slow_one, overflow, churn, growth_in_subscribers, idle)
    return [row for part in parts for row in part()]
