package com.veq.migrate;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * The C++ tool and the sqlite3 shell, run as processes: the independent
 * side the Java runs are compared with. The build passes the tool's path as
 * the system property veq.migrate.tool.
 */
final class Tool {
  private Tool() {}

  record Result(int status, String out, String err) {}

  static Result run(Path dir, String... args) throws IOException, InterruptedException {
    List<String> command = new ArrayList<>();
    command.add(System.getProperty("veq.migrate.tool"));
    command.addAll(List.of(args));
    return exec(dir, command);
  }

  static Result exec(Path dir, List<String> command) throws IOException, InterruptedException {
    Path out = Files.createTempFile(dir, "out", ".txt");
    Path err = Files.createTempFile(dir, "err", ".txt");
    Process process = new ProcessBuilder(command).directory(dir.toFile()).redirectOutput(out.toFile())
                                                 .redirectError(err.toFile()).start();
    int status = process.waitFor();
    return new Result(status, Files.readString(out), Files.readString(err));
  }

  /** The generated legacy stores and defaults in {@code dir}. */
  static void fixtures(Path dir) throws IOException, InterruptedException {
    Result result = run(dir, "fixtures", "--out", dir.toString());
    assertEquals(0, result.status(), result.err());
  }

  /** The tool's line for a store given without a problem, as the library words it. */
  static String problem(Result result) {
    String line = result.err().strip();
    return line.startsWith("veq-migrate: ") ? line.substring("veq-migrate: ".length()) : line;
  }

  /** A database's rows, table by table, as the sqlite3 shell's INSERT statements. */
  static Map<String, List<String>> dump(Path db) throws IOException, InterruptedException {
    Result result = exec(db.getParent(), List.of("sqlite3", "-batch", db.toString(), ".dump"));
    assertEquals(0, result.status(), result.err());
    Pattern insert = Pattern.compile("^INSERT INTO \"?([^\" ]+)\"? VALUES");
    Map<String, List<String>> tables = new TreeMap<>();
    List<String> current = null;
    for (String line : result.out().split("\n")) {
      Matcher m = insert.matcher(line);
      if (m.find()) {
        current = tables.computeIfAbsent(m.group(1), t -> new ArrayList<>());
        current.add(line);
      } else if (line.startsWith("CREATE ") || line.startsWith("DELETE ") || line.equals("COMMIT;")) {
        current = null;
      } else if (current != null) {
        current.set(current.size() - 1, current.get(current.size() - 1) + "\n" + line);
      }
    }
    return tables;
  }

  static void sql(Path db, String statements) throws IOException, InterruptedException {
    Result result = exec(db.getParent(), List.of("sqlite3", "-batch", db.toString(), statements));
    assertEquals(0, result.status(), result.err());
  }

  /** One table's line of the tool's text report. */
  record ReportLine(Store store, String table, long rows, long inserted, long updated, long kept, long skipped,
                    long failed, long failedStatements, boolean rolledBack, Map<String, Long> skipReasons) {}

  /** The tool's text report, keyed by "store table", in report order. */
  static Map<String, ReportLine> report(String text) {
    Pattern table = Pattern.compile(
        "^(ios|android|android_cloud) (\\S+)\\s+(-?\\d+)\\s+(\\d+)\\s+(\\d+)\\s+(\\d+)\\s+(\\d+)\\s+(\\d+)\\s+(\\d+)(\\s+ROLLED BACK)?$");
    Pattern skip = Pattern.compile("^\\s+skipped (\\d+): (\\S+) ");
    Map<String, ReportLine> lines = new LinkedHashMap<>();
    ReportLine last = null;
    for (String line : text.split("\n")) {
      Matcher m = table.matcher(line);
      Matcher s = skip.matcher(line);
      if (m.find()) {
        last = new ReportLine(Store.fromLabel(m.group(1)), m.group(2), Long.parseLong(m.group(3)),
                              Long.parseLong(m.group(4)), Long.parseLong(m.group(5)), Long.parseLong(m.group(6)),
                              Long.parseLong(m.group(7)), Long.parseLong(m.group(8)), Long.parseLong(m.group(9)),
                              m.group(10) != null, new TreeMap<>());
        lines.put(m.group(1) + " " + m.group(2), last);
      } else if (s.find() && last != null) {
        last.skipReasons().put(s.group(2), Long.parseLong(s.group(1)));
      }
    }
    return lines;
  }

  /** The rejects file: per "store table", each rejected row's "outcome/reason", in file order. */
  static Map<String, List<String>> rejects(Path file) throws IOException {
    Pattern field = Pattern.compile("\"(store|table|outcome|reason)\":\"([^\"]*)\"");
    Map<String, List<String>> rows = new TreeMap<>();
    for (String line : Files.readAllLines(file, StandardCharsets.UTF_8)) {
      Map<String, String> values = new TreeMap<>();
      // The row's own values come before the outcome; the first store and
      // table fields are the reject's, the last outcome and reason too.
      Matcher m = field.matcher(line);
      while (m.find()) {
        if (m.group(1).equals("store") || m.group(1).equals("table")) {
          values.putIfAbsent(m.group(1), m.group(2));
        } else {
          values.put(m.group(1), m.group(2));
        }
      }
      rows.computeIfAbsent(values.get("store") + " " + values.get("table"), k -> new ArrayList<>())
          .add(values.get("outcome") + "/" + values.getOrDefault("reason", ""));
    }
    return rows;
  }
}
