import java.io.File;
import java.nio.file.Files;

/** What threads.c asks Java; 1 is yes. */
public class Probe {
    static int isDaemon() {
        return Thread.currentThread().isDaemon() ? 1 : 0;
    }

    static int threads() {
        return Thread.activeCount();
    }

    private static volatile boolean holding;
    private static volatile boolean releasing;

    /** Until {@link #release} no other thread can begin or end, as far as this JVM keeps groups of threads. */
    static int holdThreads() throws Exception {
        synchronized (Thread.currentThread().getThreadGroup()) {
            holding = true;
            while (holding) {
                Thread.sleep(1);
            }
        }
        return 1;
    }

    static int isHolding() {
        return holding ? 1 : 0;
    }

    static int release() {
        holding = false;
        return 1;
    }

    static int releaseSoon() throws Exception {
        releasing = true;
        while (!holding) {
            Thread.sleep(1);
        }
        Thread.sleep(200);
        return release();
    }

    static int isReleasing() {
        return releasing ? 1 : 0;
    }

    static int startsThreads() throws Exception {
        int[] ran = {0};
        Thread thread = new Thread(() -> ran[0]++);
        thread.start();
        thread.join();
        return ran[0];
    }

    /** Through a helper program, which inherits the file and the pipes. */
    static int runsPrograms() throws Exception {
        File file = File.createTempFile("probe", null);
        try {
            Process process = new ProcessBuilder("sh", "-c", "read x; echo $x").redirectOutput(file).start();
            process.getOutputStream().write("yes\n".getBytes());
            process.getOutputStream().close();
            process.waitFor();
            return new String(Files.readAllBytes(file.toPath())).equals("yes\n") ? 1 : 0;
        } finally {
            file.delete();
        }
    }

    static int exit() {
        System.exit(0);
        return 0;
    }
}
