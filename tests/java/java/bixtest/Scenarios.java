package bixtest;

import com.kestrane.vorn.CppObjectWrapper;
import java.lang.management.ManagementFactory;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.atomic.AtomicBoolean;
import javax.management.ObjectName;

/** What Java code does with the bridge. */
final class Scenarios {
  private Scenarios() {}

  private static String describe(Throwable thrown) {
    return thrown.getClass().getName() + ": " + thrown.getMessage();
  }

  /** What comes out of a native method that fails in a given way. */
  static String raised(int kind) {
    try {
      return "returned " + Calls.raise(kind);
    } catch (Throwable thrown) {
      return describe(thrown);
    }
  }

  static String raisedBehindAnother() {
    try {
      Calls.raiseBehindAnother();
      return "returned";
    } catch (Throwable thrown) {
      return describe(thrown);
    }
  }

  static String passed(String interfaceName) {
    try {
      return "returned " + Calls.passTo(new Foo(), interfaceName, 41);
    } catch (Throwable thrown) {
      return describe(thrown);
    }
  }

  static String wrapped(long object) {
    try {
      Object wrapper = Calls.wrap(object);
      return wrapper == null ? "null" : wrapper.getClass().getName();
    } catch (Throwable thrown) {
      return describe(thrown);
    }
  }

  /** Wraps an object from nowhere but here, so that nothing holds the wrapper afterwards. */
  static long addressInWrapper(long object) {
    return ((CppObjectWrapper) Calls.wrap(object)).getAddress();
  }

  private interface Task {
    Object[] run(int thread) throws Exception;
  }

  /** The results of a task that several threads begin at the same moment. */
  private static List<Object[]> together(int threads, Task task) throws Exception {
    CyclicBarrier start = new CyclicBarrier(threads);
    ExecutorService pool = Executors.newFixedThreadPool(threads);
    try {
      List<Future<Object[]>> futures = new ArrayList<>();
      for (int i = 0; i < threads; i++) {
        final int thread = i;
        futures.add(
            pool.submit(
                (Callable<Object[]>)
                    () -> {
                      start.await();
                      return task.run(thread);
                    }));
      }
      List<Object[]> results = new ArrayList<>();
      for (Future<Object[]> future : futures) {
        results.add(future.get());
      }
      return results;
    } finally {
      pool.shutdown();
    }
  }

  /** Every thread wraps all objects, each starting at another; "" when all got the same wrappers. */
  static String wrapFromThreads(long[] objects, int threads) throws Exception {
    List<Object[]> results =
        together(
            threads,
            thread -> {
              Object[] wrappers = new Object[objects.length];
              for (int i = 0; i < objects.length; i++) {
                int at = (i + thread * objects.length / threads) % objects.length;
                wrappers[at] = Calls.wrap(objects[at]);
              }
              return wrappers;
            });
    for (int at = 0; at < objects.length; at++) {
      Object first = results.get(0)[at];
      if (first == null || ((CppObjectWrapper) first).getAddress() != objects[at]) {
        return "object " + at + " has the wrapper " + first;
      }
      for (Object[] wrappers : results) {
        if (wrappers[at] != first) {
          return "object " + at + " has several wrappers";
        }
      }
    }
    for (Object wrapper : results.get(0)) {
      Calls.unregister(wrapper);
    }
    return "";
  }

  /**
   * Threads that ask for wrappers and drop them while the garbage is collected all the time; "" when
   * each wrapper was usable.
   */
  static String wrapWhileCollecting(long[] objects, int threads, int rounds) throws Exception {
    AtomicBoolean isDone = new AtomicBoolean();
    Thread collector =
        new Thread(
            () -> {
              while (!isDone.get()) {
                System.gc();
              }
            });
    collector.start();
    try {
      for (Object[] problem :
          together(
              threads,
              thread -> {
                for (int i = 0; i < rounds; i++) {
                  long object = objects[(i + thread) % objects.length];
                  Object wrapper = Calls.wrap(object);
                  if (wrapper == null || Calls.unwrap(wrapper) != object) {
                    return new Object[] {"round " + i + ": " + wrapper};
                  }
                }
                return new Object[] {""};
              })) {
        if (!problem[0].equals("")) {
          return problem[0].toString();
        }
      }
    } finally {
      isDone.set(true);
      collector.join();
    }
    for (long object : objects) {
      Calls.unregister(Calls.wrap(object));
    }
    return "";
  }

  /** The machine's own count: "JNI global refs: 12, weak refs: 0". */
  static String references() throws Exception {
    Object dump =
        ManagementFactory.getPlatformMBeanServer()
            .invoke(
                new ObjectName("com.sun.management:type=DiagnosticCommand"),
                "threadPrint",
                new Object[] {new String[0]},
                new String[] {String[].class.getName()});
    for (String line : dump.toString().split("\n")) {
      if (line.startsWith("JNI global refs:")) {
        return line;
      }
    }
    return "";
  }
}
