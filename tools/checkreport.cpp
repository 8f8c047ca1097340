#include "tools/checkreport.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/visible.h"

namespace qelftp {
namespace {

const char* Word(EFinding eFinding) {
    switch (eFinding) {
        case EFinding::Good:
            return "ok";
        case EFinding::Note:
            return "note";
        case EFinding::Bad:
            return "FAIL";
    }
    return "";
}

std::string Time(const SCheckStep& step) {
    return step.dMillis ? fmt::format("{:.1f} ms", *step.dMillis) : "";
}

}  // namespace

bool AllGood(const CheckSteps& steps) {
    return std::none_of(steps.begin(), steps.end(),
                        [](const SCheckStep& step) { return step.eFinding == EFinding::Bad; });
}

std::string CheckTable(const CheckSteps& steps) {
    std::size_t nName = 0;
    std::size_t nTime = 0;
    for (const SCheckStep& step : steps) {
        nName = std::max(nName, step.strName.size());
        nTime = std::max(nTime, Time(step).size());
    }
    std::string strTable;
    for (const SCheckStep& step : steps) {
        strTable += fmt::format("{:<{}}  {:<4}  {:>{}}  {}\n", step.strName, nName,
                                Word(step.eFinding), Time(step), nTime, VisibleText(step.strText));
    }
    return strTable;
}

std::string CheckJson(const CheckSteps& steps) {
    using CJson = nlohmann::ordered_json;  // members stay as they were added
    std::string strLines;
    for (const SCheckStep& step : steps) {
        CJson object;
        object["step"] = step.strName;
        object["result"] = Word(step.eFinding);
        object["ms"] = nullptr;
        if (step.dMillis) object["ms"] = std::round(*step.dMillis * 10) / 10;
        object["text"] = step.strText;
        strLines += object.dump(-1, ' ', true, CJson::error_handler_t::replace) + "\n";
    }
    return strLines;
}

}  // namespace qelftp
