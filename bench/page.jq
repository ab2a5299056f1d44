# The figures of a run as Markdown for docs/performance.md: `$part` is "summary" or "table".

# Four significant digits, but no integer is rounded.
def text: if . >= 1000 then round elif . >= 100 then . * 10 | round / 10
    elif . >= 10 then . * 100 | round / 100 else . * 1000 | round / 1000 end | tostring;
def spread: if . == null then "" elif .low == .high then .median | text
    else "\(.median | text) (\(.low | text) to \(.high | text))" end;
def verdict: if .goal == null then "" elif .is_met then .goal + ", met"
    else .goal + ", **missed**" end;
def line: "| " + join(" | ") + " |";

def summary: . as $rows
    | ["", "unit", "lumivad", "compared with", "goal"], ["---", "---", "---", "---", "---"],
    (["dispatch", "median", "Command until its request to the bridge, median", "a thread that looks every 100 ms"],
     ["dispatch", "largest", "the same, slowest", "that thread"],
     ["sustained", "colours, requests a second", "Requests to the bridge while commands wait", "the bridge's limit"],
     ["change", "to the core's SETVALUE, median", "Change at a bulb until its report to the core, median", "half of the poll period"],
     ["endpoint", "latency p50", "Answer to the core, median", "a program that only answers"],
     ["poll", "CPU, 50 lights", "CPU of a poll of 50 lights", "parsing the same JSON"],
     ["footprint", "CPU while idle", "CPU while idle, 10 lights", "mosquitto"],
     ["footprint", "proportional memory", "Memory, 10 lights", "mosquitto"],
     ["footprint", "from exec to running", "Start", "mosquitto"],
     ["scale", "memory of a further daemon", "Memory of each further daemon", ""]
     | . as [$subject, $figure, $words, $other]
     | $rows[] | select(.subject == $subject and .figure == $figure)
     | [$words, (if .unit == "" then "a second" else .unit end), (.value.median | text),
        (if .yardstick then "\(.yardstick.median | text), \($other)" else "" end), verdict])
    | line;

def table:
    ["subject", "figure", "lumivad", "yardstick", "ratio", "goal"],
    ["---", "---", "---", "---", "---", "---"],
    (.[] | [.subject, ([.figure, .unit] - [""] | join(", ")), (.value | spread),
        (.yardstick | spread), (.ratio | spread), verdict])
    | line;

if $part == "summary" then summary else table end
