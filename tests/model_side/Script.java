import static org.junit.Assert.assertEquals;

import com.zelvox.qorbetta.ZelvoxSim;
import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.util.Arrays;
import java.util.HashMap;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.DoubleStream;

/**
 * Plays an importer with its library, which makes the calls that begin the lines, and compares what
 * comes of them: the calls of the model, behind "=" what the importer gets, behind "!" the reason of
 * a failure, behind "?" what stands on stderr. Instances are called by name. A reset is nothing that Java hears of.
 *
 * <pre>
 *   new NAME [URI]    setUp NAME START [STOP]    set NAME REFERENCE VALUE    init NAME
 *   step NAME TIME SIZE    data NAME    end NAME    free NAME
 *   fail CALL [TEXT]: this call of the model throws from now on; without text, no more
 * </pre>
 */
final class Script {
    private static final ZelvoxSim SIM = ZelvoxSim.create();

    private static final Map<String, double[]> REALS = new HashMap<>();

    static void play(String... lines) {
        assertEquals(String.join("\n", lines), Arrays.stream(lines).map(line -> line.split(" =>")[0])
                .map(command -> command + outcome(command.split(" ")))
                .collect(Collectors.joining("\n")));
    }

    private static String outcome(String[] words) {
        Recorder.calls.clear();
        String before = SIM.getLasterror();
        PrintStream stderr = System.err;
        ByteArrayOutputStream told = new ByteArrayOutputStream();
        System.setErr(new PrintStream(told, true));
        String answer;
        try {
            answer = answer(words[0], words[1], Arrays.copyOfRange(words, 2, words.length));
        } finally {
            System.setErr(stderr);
        }
        boolean failed = SIM.getLasterror() != before; // every failure makes a text of its own
        String outcome = (Recorder.calls.isEmpty() ? "" : " " + String.join("; ", Recorder.calls))
                + (answer.isEmpty() ? "" : " = " + answer)
                + (failed ? " ! " + SIM.getLasterror() : "")
                + (told.size() == 0 ? "" : " ? " + told.toString().trim());
        return outcome.isEmpty() ? "" : " =>" + outcome;
    }

    private static String answer(String command, String name, String[] words) {
        boolean named = command.equals("new") || command.equals("fail");
        double[] numbers = named ? null : Arrays.stream(words).mapToDouble(Double::parseDouble).toArray();
        switch (command) {
            case "new":
                if (!SIM.doInitConnection() || !SIM.doInstantiate(name, String.join("", words))) {
                    return "NULL";
                }
                REALS.put(name, new double[count(name, "reals")]);
                return "";
            case "setUp":
                boolean stops = numbers.length > 1;
                return SIM.doSetupExperiment(name, numbers[0], stops, stops ? numbers[1] : 12345) ? "" : "error";
            case "set":
                int reference = (int) numbers[0];
                SIM.setReal(name, reference, numbers[1]);
                if (reference >= 0 && reference < REALS.get(name).length) {
                    REALS.get(name)[reference] = numbers[1];
                }
                return "";
            case "init":
                if (!SIM.doInitializeModel(name)) {
                    return "error";
                }
                fetch(name);
                return "";
            case "step":
                int first = 2 * count(name, "outputs");
                double[] inputs = Arrays.copyOfRange(REALS.get(name), first, first + count(name, "inputs"));
                return SIM.doStepModel(name, numbers[0], numbers[1], inputs) ? fetch(name) : "error";
            case "data":
                return fetch(name);
            case "end":
                SIM.doTerminate(name);
                return "";
            case "free":
                SIM.doFreeInstance(name);
                return "";
            case "fail":
                Recorder.happenings.put(name, words.length == 0 ? () -> null : () -> {
                    throw new Exception(String.join(" ", words));
                });
                return "";
            default:
                throw new AssertionError(command);
        }
    }

    /** What Java delivers; the importer's values take it over from the first one on. */
    private static String fetch(String name) {
        double[] data = SIM.getData(name);
        System.arraycopy(data, 0, REALS.get(name), 0, data.length);
        return DoubleStream.of(data).mapToObj(Double::toString).collect(Collectors.joining(" "));
    }

    private static int count(String name, String of) {
        return Integer.parseInt(SIM.getProp(name, "number_of_" + of));
    }
}
