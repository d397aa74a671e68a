#include "cli/cls_cli_junit.h"

#include "devices/cls_vesk_text_escape.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;

namespace {

cls_string seconds(long long ms) {
    cls_string s;
    return s.print("%lld.%03lld", ms / 1000, ms % 1000);
}

} // namespace

cls_string cls_cli_junit::suite_of(const cls_string& test_path) {
    int slash = test_path.rfind("/", -1);
    return slash == cls_string::NOT_FOUND ? cls_string("(root)") : test_path.sub_str(0, slash);
}

cls_string cls_cli_junit::suite_key(const cls_vesk_run_record& r, bool by_device) {
    return by_device ? r.serial_id() + "/" + suite_of(r.test()) : suite_of(r.test());
}

cls_string cls_cli_junit::test_case(const cls_vesk_run_record& r, const cls_string& suite) {
    typedef cls_vesk_text_escape esc;
    cls_string name = r.test().file_name();
    cls_string out;
    out.print("    <testcase classname=\"%s\" name=\"%s\" time=\"%s\">\n", esc::xml(suite).c_str(),
              esc::xml(name).c_str(), seconds(r.duration_ms()).c_str());
    cls_string line;
    if (r.result() == cls_vesk_run_record::RESULT_FAIL) {
        out += line.print("      <failure type=\"exit_code\" message=\"exit code %d\">exit code %d</failure>\n",
                          r.exit_code(), r.exit_code());
    } else if (r.result() == cls_vesk_run_record::RESULT_TIMEOUT) {
        out += line.print("      <error type=\"timeout\" message=\"timed out after %s s\">timed out</error>\n",
                          seconds(r.duration_ms()).c_str());
    } else if (r.result() == cls_vesk_run_record::RESULT_ERROR) {
        out += "      <error type=\"error\" message=\"the test could not be run\">";
        out += esc::xml(r.kept_output());
        out += "</error>\n";
    }
    out += "      <system-out>";
    out += esc::xml(r.kept_output());
    out += "</system-out>\n    </testcase>\n";
    return out;
}

cls_string cls_cli_junit::document(const cls_array<cls_sp<cls_vesk_run_record>>& records, bool by_device) {
    typedef cls_vesk_text_escape esc;
    cls_array<cls_string> suites;
    for (int i = 0; i < records.count(); ++i) {
        cls_string suite = suite_key(*records[i], by_device);
        bool known = false;
        for (int s = 0; s < suites.count(); ++s) known = known || suites[s] == suite;
        if (!known) suites.append(suite);
    }

    int failures = 0;
    int errors = 0;
    long long total_ms = 0;
    for (int i = 0; i < records.count(); ++i) {
        failures += records[i]->result() == cls_vesk_run_record::RESULT_FAIL;
        errors += records[i]->result() == cls_vesk_run_record::RESULT_TIMEOUT || records[i]->result() == cls_vesk_run_record::RESULT_ERROR;
        total_ms += records[i]->duration_ms();
    }
    cls_string out("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    cls_string line;
    out += line.print("<testsuites name=\"vesk\" tests=\"%d\" failures=\"%d\" errors=\"%d\" time=\"%s\">\n",
                      records.count(), failures, errors, seconds(total_ms).c_str());
    for (int s = 0; s < suites.count(); ++s) {
        int tests = 0;
        int suite_failures = 0;
        int suite_errors = 0;
        long long suite_ms = 0;
        cls_string cases;
        cls_string timestamp;
        for (int i = 0; i < records.count(); ++i) {
            const cls_vesk_run_record& r = *records[i];
            if (suite_key(r, by_device) != suites[s]) continue;
            if (timestamp.is_empty()) timestamp = r.start_time();
            ++tests;
            suite_failures += r.result() == cls_vesk_run_record::RESULT_FAIL;
            suite_errors += r.result() == cls_vesk_run_record::RESULT_TIMEOUT || r.result() == cls_vesk_run_record::RESULT_ERROR;
            suite_ms += r.duration_ms();
            cases += test_case(r, suites[s]);
        }
        out += line.print("  <testsuite name=\"%s\" tests=\"%d\" failures=\"%d\" errors=\"%d\" skipped=\"0\" "
                          "time=\"%s\" timestamp=\"%s\">\n",
                          esc::xml(suites[s]).c_str(), tests, suite_failures, suite_errors, seconds(suite_ms).c_str(),
                          esc::xml(timestamp).c_str());
        out += cases;
        out += "  </testsuite>\n";
    }
    out += "</testsuites>\n";
    return out;
}
