# Reads the pretty-printed probe summary and says in one line per runtime what was found.

function available(key) { return value[key] == "true" ? " available" : " not available" }

function counted(key, one, many) {
    if (value[key] !~ /^[0-9]+$/) return ""
    return ", " value[key] " " (value[key] == 1 ? one : many)
}

/^ *"[A-Za-z]+" *: / {
    split($0, part, "\"")
    text = $0
    sub(/^ *"[A-Za-z]+" *: */, "", text)
    gsub(/[",]/, "", text)
    value[part[2]] = text
}

/^ *}/ && "id" in value {
    print toupper(substr(value["id"], 1, 1)) substr(value["id"], 2) ": " value["status"] \
        "; quota" available("quotaAvailable") \
        ", local usage" available("localUsageAvailable") \
        ", task board" available("taskBoardAvailable") \
        counted("trendDayCount", "day of usage", "days of usage") \
        counted("taskCount", "task", "tasks") \
        counted("projectCount", "project", "projects")
    delete value
    runtimes++
}

END { if (!runtimes) print "No runtime was read." }
