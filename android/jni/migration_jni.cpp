// migration_jni.cpp — the JNI library behind com.veq.migrate.Migration.
//
// Each native method of Migration is one or a few calls of the C API
// (capi/veq_migrate.h) on the handle the Java object keeps as a long. The
// glue adds three things:
//
//   * Failures become Java exceptions. A call that returns a status other
//     than VEQ_OK throws what Migration.failure(status, message) builds from
//     the handle's message, so the mapping of statuses to exception types is
//     written once, in Java. Run calls return their status instead, since the
//     Java side throws with the summaries of the tables that ran.
//   * Callbacks reach Java. During a run (and a verification, whose kit zone
//     may call into Java) a CallScope on the native stack holds the JNI
//     environment and the Java listener. A Java exception thrown by the
//     listener or by a kit zone is taken out of the JVM, kept in the scope,
//     and the next callback asks the library to stop: the table in progress
//     is rolled back. Once the C call has returned, the exception is thrown
//     again, unchanged. The listener hears nothing after it threw.
//   * Texts cross as UTF-8 on the C side and UTF-16 on the Java side,
//     converted here in full (not the JVM's modified UTF-8), so a path or a
//     table name outside the Basic Multilingual Plane arrives intact and a
//     byte sequence that is not UTF-8 becomes U+FFFD rather than a JVM error.
//
// Local references made in a callback are deleted before it returns: a run
// calls back once per legacy row inside one native call.
#include <jni.h>

#include <cstdint>
#include <string>

#include "capi/veq_migrate.h"
#include "com_veq_migrate_Migration.h"

namespace {

// Classes and methods of the jar, looked up once when the library loads.
struct JavaNames {
  jclass string = nullptr;
  jclass migration = nullptr;
  jclass tableSummary = nullptr;
  jclass verifyTable = nullptr;
  jmethodID failure = nullptr;           // Migration.failure(int, String)
  jmethodID summaryFromNative = nullptr; // TableSummary.fromNative(…)
  jmethodID verifyTableNew = nullptr;    // VerifyReport.Table(String, long × 5)
  jmethodID row = nullptr;               // Migration.Dispatcher.row(…)
  jmethodID tableStarted = nullptr;
  jmethodID tableFinished = nullptr;
  jmethodID offsetAt = nullptr;          // Migration.ZoneOffsets.offsetAt(long)
};
JavaNames names;
JavaVM* javaVm = nullptr;

// ---- Texts ------------------------------------------------------------------

void appendUtf8(std::string& out, uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// A Java string as UTF-8; a lone surrogate becomes U+FFFD.
std::string utf8(JNIEnv* env, jstring text) {
  std::string out;
  const jsize length = env->GetStringLength(text);
  const jchar* chars = env->GetStringCritical(text, nullptr);
  if (chars == nullptr) return out;
  out.reserve(static_cast<size_t>(length));
  for (jsize i = 0; i < length; ++i) {
    uint32_t c = chars[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length && chars[i + 1] >= 0xDC00 && chars[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (chars[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    appendUtf8(out, c);
  }
  env->ReleaseStringCritical(text, chars);
  return out;
}

// A UTF-8 text as a Java string; each byte that does not start a well-formed
// sequence becomes U+FFFD. Null on failure, an exception then pending.
jstring javaString(JNIEnv* env, const char* text) {
  if (text == nullptr) text = "";
  std::u16string out;
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  while (*p != 0) {
    uint32_t cp = *p;
    int extra = 0;
    uint32_t min = 0;
    if (cp >= 0xF0 && cp <= 0xF4) {
      extra = 3, min = 0x10000, cp &= 0x07;
    } else if (cp >= 0xE0 && cp <= 0xEF) {
      extra = 2, min = 0x800, cp &= 0x0F;
    } else if (cp >= 0xC2 && cp <= 0xDF) {
      extra = 1, min = 0x80, cp &= 0x1F;
    } else if (cp >= 0x80) {
      extra = -1;
    }
    int i = 1;
    for (; extra > 0 && i <= extra; ++i) {
      if ((p[i] & 0xC0) != 0x80) break;
      cp = (cp << 6) | (p[i] & 0x3F);
    }
    if (extra < 0 || (extra > 0 && i <= extra) || cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      out += u'\uFFFD';
      ++p;
      continue;
    }
    if (cp >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(cp);
    }
    p += extra + 1;
  }
  return env->NewString(reinterpret_cast<const jchar*>(out.data()), static_cast<jsize>(out.size()));
}

// An optional path argument: null and "" both stand for "absent".
struct OptionalText {
  OptionalText(JNIEnv* env, jstring text) : present(text != nullptr) {
    if (present) value = utf8(env, text);
  }
  const char* get() const { return present ? value.c_str() : nullptr; }
  bool present;
  std::string value;
};

// ---- Failures -----------------------------------------------------------------

veq_migration* migrationOf(jlong handle) { return reinterpret_cast<veq_migration*>(static_cast<intptr_t>(handle)); }

// Throws the Java exception for a failed call on `migration`.
void throwStatus(JNIEnv* env, veq_status status, const veq_migration* migration) {
  if (env->ExceptionCheck()) return;
  jstring message = javaString(env, migration != nullptr ? veq_migration_error(migration) : "out of memory");
  if (message == nullptr) return;
  auto* failure = static_cast<jthrowable>(
      env->CallStaticObjectMethod(names.migration, names.failure, static_cast<jint>(status), message));
  if (!env->ExceptionCheck() && failure != nullptr) {
    env->Throw(failure);
    env->DeleteLocalRef(failure);
  }
  env->DeleteLocalRef(message);
}

// True when the call succeeded; otherwise the exception is thrown.
bool check(JNIEnv* env, veq_status status, const veq_migration* migration) {
  if (status == VEQ_OK) return true;
  throwStatus(env, status, migration);
  return false;
}

// ---- Callbacks -----------------------------------------------------------------

// The Java side of one native call that may call back into Java. One per
// thread at a time (calls on a migration do not overlap, and a listener may
// not call its migration).
struct CallScope;
thread_local CallScope* currentScope = nullptr;

struct CallScope {
  CallScope(JNIEnv* env, jobject dispatcher) : env(env), dispatcher(dispatcher), previous(currentScope) {
    currentScope = this;
  }
  ~CallScope() {
    currentScope = previous;
    if (store != nullptr) env->DeleteLocalRef(store);
    if (table != nullptr) env->DeleteLocalRef(table);
  }
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

  // Takes a Java exception out of the JVM and keeps the first one; the
  // library is asked to stop. 1 when one was thrown.
  int caught() {
    if (!env->ExceptionCheck()) return 0;
    jthrowable thrown = env->ExceptionOccurred();
    env->ExceptionClear();
    if (pending == nullptr) {
      pending = thrown;
    } else {
      env->DeleteLocalRef(thrown);
    }
    return 1;
  }

  // Throws the kept exception again; true when there was one.
  bool rethrow() {
    if (pending == nullptr) return false;
    env->Throw(pending);
    env->DeleteLocalRef(pending);
    pending = nullptr;
    return true;
  }

  // The Java strings of the store and table being reported, made once per
  // table. False when they could not be made (the exception is kept).
  bool name(const char* storeLabel, const char* tableName) {
    if (store == nullptr || storeText != storeLabel) {
      if (store != nullptr) env->DeleteLocalRef(store);
      storeText = storeLabel != nullptr ? storeLabel : "";
      store = javaString(env, storeText.c_str());
    }
    if (table == nullptr || tableText != tableName) {
      if (table != nullptr) env->DeleteLocalRef(table);
      tableText = tableName != nullptr ? tableName : "";
      table = javaString(env, tableText.c_str());
    }
    return !caught() && store != nullptr && table != nullptr;
  }

  JNIEnv* env;
  jobject dispatcher;  // Migration.Dispatcher, or null without a listener
  jthrowable pending = nullptr;
  CallScope* previous;
  std::string storeText, tableText;
  jstring store = nullptr;
  jstring table = nullptr;
};

jobject summaryObject(JNIEnv* env, const veq_table_summary* summary) {
  jlong counts[10 + VEQ_SKIP_REASON_CAPACITY] = {
      summary->rows,     summary->succeeded,    summary->failed,   summary->inserted,
      summary->updated,  summary->kept,         summary->skipped,  summary->write_failed,
      summary->unstated, summary->failed_statements};
  for (int i = 0; i < VEQ_SKIP_REASON_CAPACITY; ++i) counts[10 + i] = summary->skip_reasons[i];
  jobject result = nullptr;
  jstring store = javaString(env, summary->store);
  jstring table = store != nullptr ? javaString(env, summary->table) : nullptr;
  jstring firstError = table != nullptr ? javaString(env, summary->first_error) : nullptr;
  jlongArray array = firstError != nullptr ? env->NewLongArray(10 + VEQ_SKIP_REASON_CAPACITY) : nullptr;
  if (array != nullptr) {
    env->SetLongArrayRegion(array, 0, 10 + VEQ_SKIP_REASON_CAPACITY, counts);
    result = env->CallStaticObjectMethod(names.tableSummary, names.summaryFromNative, store, table, array, firstError,
                                         static_cast<jboolean>(summary->rolled_back != 0));
    if (env->ExceptionCheck()) result = nullptr;
  }
  for (jobject local : {static_cast<jobject>(store), static_cast<jobject>(table), static_cast<jobject>(firstError),
                        static_cast<jobject>(array)}) {
    if (local != nullptr) env->DeleteLocalRef(local);
  }
  return result;
}

int onRow(void* user, const veq_row_event* row) {
  auto* scope = static_cast<CallScope*>(user);
  if (scope->pending != nullptr) return 1;
  if (scope->dispatcher == nullptr) return 0;
  JNIEnv* env = scope->env;
  if (!scope->name(row->store, row->table)) return 1;
  jstring message = nullptr;
  if (row->message != nullptr && row->message[0] != '\0') {
    message = javaString(env, row->message);
    if (message == nullptr) return scope->caught();
  }
  env->CallVoidMethod(scope->dispatcher, names.row, scope->store, scope->table, static_cast<jlong>(row->position),
                      static_cast<jboolean>(row->succeeded != 0), static_cast<jint>(row->outcome),
                      static_cast<jint>(row->reason), message);
  const int stop = scope->caught();
  if (message != nullptr) env->DeleteLocalRef(message);
  return stop;
}

int onTable(void* user, const veq_table_summary* summary, veq_table_event event) {
  auto* scope = static_cast<CallScope*>(user);
  if (scope->pending != nullptr) return 1;
  if (scope->dispatcher == nullptr) return 0;
  JNIEnv* env = scope->env;
  if (event == VEQ_TABLE_STARTED) {
    if (!scope->name(summary->store, summary->table)) return 1;
    env->CallVoidMethod(scope->dispatcher, names.tableStarted, scope->store, scope->table,
                        static_cast<jlong>(summary->rows));
  } else {
    jobject object = summaryObject(env, summary);
    if (object != nullptr) {
      env->CallVoidMethod(scope->dispatcher, names.tableFinished, object);
      const int stop = scope->caught();
      env->DeleteLocalRef(object);
      return stop;
    }
  }
  return scope->caught();
}

// A kit zone: the global reference to a Migration.ZoneOffsets.
int64_t zoneOffset(void* user, int64_t instant) {
  JNIEnv* env = nullptr;
  if (javaVm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_6) != JNI_OK) return 0;
  const jint offset = env->CallIntMethod(static_cast<jobject>(user), names.offsetAt, static_cast<jlong>(instant));
  // The offset of a zone whose rules threw is worthless: the run is asked
  // to stop at its next row, and the exception thrown once it has.
  if (currentScope != nullptr && currentScope->env == env) {
    currentScope->caught();
  } else if (env->ExceptionCheck()) {
    env->ExceptionClear();
  }
  return offset;
}

void releaseZone(void* user) {
  JNIEnv* env = nullptr;
  if (javaVm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_6) == JNI_OK) {
    env->DeleteGlobalRef(static_cast<jobject>(user));
  }
}

jclass globalClass(JNIEnv* env, const char* name) {
  jclass local = env->FindClass(name);
  if (local == nullptr) return nullptr;
  auto global = static_cast<jclass>(env->NewGlobalRef(local));
  env->DeleteLocalRef(local);
  return global;
}

// A count the C API gives per store.
jlong storeCount(JNIEnv* env, jlong handle, jint store, veq_status (*count)(veq_migration*, veq_store, int64_t*)) {
  veq_migration* m = migrationOf(handle);
  int64_t n = 0;
  check(env, count(m, static_cast<veq_store>(store), &n), m);
  return n;
}

jobjectArray stringArray(JNIEnv* env, jsize length) { return env->NewObjectArray(length, names.string, nullptr); }

// Sets element i of a string array; false on failure (exception pending).
bool setString(JNIEnv* env, jobjectArray array, jsize i, const char* text) {
  jstring s = javaString(env, text);
  if (s == nullptr) return false;
  env->SetObjectArrayElement(array, i, s);
  env->DeleteLocalRef(s);
  return true;
}

}  // namespace

extern "C" {

JNIEXPORT jint JNI_OnLoad(JavaVM* vm, void*) {
  JNIEnv* env = nullptr;
  if (vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_6) != JNI_OK) return JNI_ERR;
  javaVm = vm;
  names.string = globalClass(env, "java/lang/String");
  names.migration = globalClass(env, "com/veq/migrate/Migration");
  names.tableSummary = globalClass(env, "com/veq/migrate/TableSummary");
  names.verifyTable = globalClass(env, "com/veq/migrate/VerifyReport$Table");
  jclass dispatcher = env->FindClass("com/veq/migrate/Migration$Dispatcher");
  jclass zone = env->FindClass("com/veq/migrate/Migration$ZoneOffsets");
  if (names.string == nullptr || names.migration == nullptr || names.tableSummary == nullptr ||
      names.verifyTable == nullptr || dispatcher == nullptr || zone == nullptr) {
    return JNI_ERR;
  }
  names.failure =
      env->GetStaticMethodID(names.migration, "failure", "(ILjava/lang/String;)Ljava/lang/RuntimeException;");
  names.summaryFromNative =
      env->GetStaticMethodID(names.tableSummary, "fromNative",
                             "(Ljava/lang/String;Ljava/lang/String;[JLjava/lang/String;Z)Lcom/veq/migrate/TableSummary;");
  names.verifyTableNew = env->GetMethodID(names.verifyTable, "<init>", "(Ljava/lang/String;JJJJJ)V");
  names.row = env->GetMethodID(dispatcher, "row", "(Ljava/lang/String;Ljava/lang/String;JZIILjava/lang/String;)V");
  names.tableStarted = env->GetMethodID(dispatcher, "tableStarted", "(Ljava/lang/String;Ljava/lang/String;J)V");
  names.tableFinished = env->GetMethodID(dispatcher, "tableFinished", "(Lcom/veq/migrate/TableSummary;)V");
  names.offsetAt = env->GetMethodID(zone, "offsetAt", "(J)I");
  env->DeleteLocalRef(dispatcher);
  env->DeleteLocalRef(zone);
  if (names.failure == nullptr || names.summaryFromNative == nullptr || names.verifyTableNew == nullptr ||
      names.row == nullptr || names.tableStarted == nullptr || names.tableFinished == nullptr ||
      names.offsetAt == nullptr) {
    return JNI_ERR;
  }
  return JNI_VERSION_1_6;
}

JNIEXPORT jstring JNICALL Java_com_veq_migrate_Migration_nativeVersion(JNIEnv* env, jclass) {
  return javaString(env, veq_migrate_version());
}

JNIEXPORT jstring JNICALL Java_com_veq_migrate_Migration_nativeOutcomeName(JNIEnv* env, jclass, jint code) {
  const char* name = veq_outcome_name(static_cast<veq_row_outcome>(code));
  return name != nullptr ? javaString(env, name) : nullptr;
}

JNIEXPORT jstring JNICALL Java_com_veq_migrate_Migration_nativeSkipReasonName(JNIEnv* env, jclass, jint code) {
  const char* name = veq_skip_reason_name(static_cast<veq_skip_reason>(code));
  return name != nullptr ? javaString(env, name) : nullptr;
}

JNIEXPORT jlong JNICALL Java_com_veq_migrate_Migration_nativeCreate(JNIEnv* env, jclass) {
  veq_migration* migration = veq_migration_create();
  if (migration == nullptr) throwStatus(env, VEQ_ERROR_NO_MEMORY, nullptr);
  return static_cast<jlong>(reinterpret_cast<intptr_t>(migration));
}

JNIEXPORT void JNICALL Java_com_veq_migrate_Migration_nativeDestroy(JNIEnv*, jclass, jlong handle) {
  veq_migration_destroy(migrationOf(handle));
}

JNIEXPORT void JNICALL Java_com_veq_migrate_Migration_nativeSetZoneNamed(JNIEnv* env, jclass, jlong handle,
                                                                         jstring name) {
  veq_migration* m = migrationOf(handle);
  check(env, veq_migration_set_zone_named(m, utf8(env, name).c_str()), m);
}

JNIEXPORT void JNICALL Java_com_veq_migrate_Migration_nativeSetZoneRules(JNIEnv* env, jclass, jlong handle,
                                                                         jstring name, jobject zone) {
  veq_migration* m = migrationOf(handle);
  jobject global = env->NewGlobalRef(zone);
  if (global == nullptr) return;
  // The library releases the reference once it no longer uses the zone,
  // also when this call fails.
  check(env, veq_migration_set_zone_callback(m, utf8(env, name).c_str(), zoneOffset, global, releaseZone), m);
}

JNIEXPORT jstring JNICALL Java_com_veq_migrate_Migration_nativeZoneName(JNIEnv* env, jclass, jlong handle) {
  veq_migration* m = migrationOf(handle);
  CallScope scope(env, nullptr);
  const char* name = veq_migration_zone_name(m);
  if (scope.rethrow()) return nullptr;
  if (name == nullptr) {
    throwStatus(env, VEQ_ERROR_ZONE, m);
    return nullptr;
  }
  return javaString(env, name);
}

JNIEXPORT void JNICALL Java_com_veq_migrate_Migration_nativeSetLockWait(JNIEnv* env, jclass, jlong handle,
                                                                        jint milliseconds) {
  veq_migration* m = migrationOf(handle);
  check(env, veq_migration_set_lock_wait(m, milliseconds), m);
}

JNIEXPORT void JNICALL Java_com_veq_migrate_Migration_nativeOpen(JNIEnv* env, jclass, jlong handle, jstring output,
                                                                 jstring ios, jstring android, jstring androidCloud) {
  veq_migration* m = migrationOf(handle);
  const OptionalText out(env, output), iosPath(env, ios), androidPath(env, android), cloudPath(env, androidCloud);
  check(env, veq_migration_open(m, out.get(), iosPath.get(), androidPath.get(), cloudPath.get()), m);
}

JNIEXPORT void JNICALL Java_com_veq_migrate_Migration_nativeSetUserDefaults(JNIEnv* env, jclass, jlong handle,
                                                                            jstring path) {
  veq_migration* m = migrationOf(handle);
  check(env, veq_migration_set_user_defaults(m, utf8(env, path).c_str()), m);
}

JNIEXPORT void JNICALL Java_com_veq_migrate_Migration_nativeFillRegistries(JNIEnv* env, jclass, jlong handle) {
  veq_migration* m = migrationOf(handle);
  check(env, veq_migration_fill_registries(m), m);
}

JNIEXPORT jlong JNICALL Java_com_veq_migrate_Migration_nativeRegistrySize(JNIEnv* env, jclass, jlong handle,
                                                                          jint store) {
  return storeCount(env, handle, store, veq_migration_registry_size);
}

JNIEXPORT jobjectArray JNICALL Java_com_veq_migrate_Migration_nativePlan(JNIEnv* env, jclass, jlong handle,
                                                                         jint store) {
  veq_migration* m = migrationOf(handle);
  const auto kind = static_cast<veq_store>(store);
  const size_t count = veq_migration_plan_count(m, kind);
  jobjectArray tables = stringArray(env, static_cast<jsize>(count));
  for (size_t i = 0; tables != nullptr && i < count; ++i) {
    if (!setString(env, tables, static_cast<jsize>(i), veq_migration_plan_table(m, kind, i))) return nullptr;
  }
  return tables;
}

JNIEXPORT jlong JNICALL Java_com_veq_migrate_Migration_nativeStoreRows(JNIEnv* env, jclass, jlong handle,
                                                                       jint store) {
  return storeCount(env, handle, store, veq_migration_store_rows);
}

JNIEXPORT jlong JNICALL Java_com_veq_migrate_Migration_nativeTableRows(JNIEnv* env, jclass, jlong handle, jint store,
                                                                       jstring table) {
  veq_migration* m = migrationOf(handle);
  int64_t rows = 0;
  check(env, veq_migration_table_rows(m, static_cast<veq_store>(store), utf8(env, table).c_str(), &rows), m);
  return rows;
}

JNIEXPORT jint JNICALL Java_com_veq_migrate_Migration_nativeRun(JNIEnv* env, jclass, jlong handle, jint what,
                                                                jint store, jstring table, jobject dispatcher) {
  veq_migration* m = migrationOf(handle);
  const OptionalText tableName(env, table);
  // The callbacks are set even without a listener, so that a kit zone that
  // throws can stop the run.
  CallScope scope(env, dispatcher);
  if (!check(env, veq_migration_set_callbacks(m, onRow, onTable, &scope), m)) return VEQ_ERROR_ARGUMENT;
  veq_status status = VEQ_ERROR_ARGUMENT;
  switch (what) {
    case 0:
      status = veq_migration_run_table(m, static_cast<veq_store>(store), tableName.get());
      break;
    case 1:
      status = veq_migration_run_store(m, static_cast<veq_store>(store));
      break;
    default:
      status = veq_migration_run_all(m);
      break;
  }
  veq_migration_set_callbacks(m, nullptr, nullptr, nullptr);
  scope.rethrow();
  return status;
}

JNIEXPORT jobjectArray JNICALL Java_com_veq_migrate_Migration_nativeTables(JNIEnv* env, jclass, jlong handle) {
  const veq_migration* m = migrationOf(handle);
  const size_t count = veq_migration_table_count(m);
  jobjectArray tables = env->NewObjectArray(static_cast<jsize>(count), names.tableSummary, nullptr);
  for (size_t i = 0; tables != nullptr && i < count; ++i) {
    jobject summary = summaryObject(env, veq_migration_table(m, i));
    if (summary == nullptr) return nullptr;
    env->SetObjectArrayElement(tables, static_cast<jsize>(i), summary);
    env->DeleteLocalRef(summary);
  }
  return tables;
}

JNIEXPORT jobjectArray JNICALL Java_com_veq_migrate_Migration_nativeNotConverted(JNIEnv* env, jclass,
                                                                                 jlong handle) {
  const veq_migration* m = migrationOf(handle);
  const size_t count = veq_migration_not_converted_count(m);
  jobjectArray pairs = stringArray(env, static_cast<jsize>(2 * count));
  for (size_t i = 0; pairs != nullptr && i < count; ++i) {
    const char* store = "";
    const char* table = "";
    if (!check(env, veq_migration_not_converted(m, i, &store, &table), m) ||
        !setString(env, pairs, static_cast<jsize>(2 * i), store) ||
        !setString(env, pairs, static_cast<jsize>(2 * i + 1), table)) {
      return nullptr;
    }
  }
  return pairs;
}

JNIEXPORT jstring JNICALL Java_com_veq_migrate_Migration_nativeError(JNIEnv* env, jclass, jlong handle) {
  return javaString(env, veq_migration_error(migrationOf(handle)));
}

JNIEXPORT jboolean JNICALL Java_com_veq_migrate_Migration_nativeVerify(JNIEnv* env, jclass, jlong handle) {
  veq_migration* m = migrationOf(handle);
  int holdsEverything = 0;
  CallScope scope(env, nullptr);
  const veq_status status = veq_migration_verify(m, &holdsEverything);
  if (scope.rethrow()) return JNI_FALSE;
  check(env, status, m);
  return holdsEverything != 0 ? JNI_TRUE : JNI_FALSE;
}

JNIEXPORT jobjectArray JNICALL Java_com_veq_migrate_Migration_nativeVerifyTables(JNIEnv* env, jclass,
                                                                                 jlong handle) {
  const veq_migration* m = migrationOf(handle);
  const size_t count = veq_migration_verify_count(m);
  jobjectArray tables = env->NewObjectArray(static_cast<jsize>(count), names.verifyTable, nullptr);
  for (size_t i = 0; tables != nullptr && i < count; ++i) {
    const veq_verify_table* t = veq_migration_verify_table(m, i);
    jstring name = javaString(env, t->table);
    if (name == nullptr) return nullptr;
    jobject table = env->NewObject(names.verifyTable, names.verifyTableNew, name, static_cast<jlong>(t->expected),
                                   static_cast<jlong>(t->output), static_cast<jlong>(t->missing),
                                   static_cast<jlong>(t->differing), static_cast<jlong>(t->extra));
    if (env->ExceptionCheck() || table == nullptr) return nullptr;
    env->DeleteLocalRef(name);
    env->SetObjectArrayElement(tables, static_cast<jsize>(i), table);
    env->DeleteLocalRef(table);
  }
  return tables;
}

}  // extern "C"
