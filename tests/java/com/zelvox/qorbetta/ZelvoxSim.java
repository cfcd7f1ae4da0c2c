package com.zelvox.qorbetta;

import java.io.OutputStream;
import java.io.PrintStream;
import java.lang.ref.WeakReference;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.stream.Collectors;

/**
 * The simulation object of the tests: notes each call as a line and answers as it was told to, or is
 * one that no importer deserves and answers whatever comes to its mind.
 */
public class ZelvoxSim {
    private static final Map<String, String> script = new HashMap<>();
    private static final List<String> lines = new ArrayList<>();
    /** The host's main thread, then every other one that a call came on. */
    private static final List<Thread> threads =
            new ArrayList<>(Arrays.asList(Thread.currentThread()));
    private static final List<WeakReference<ZelvoxSim>> objects = new ArrayList<>();

    private static final Map<String, double[]> latestInputs = new HashMap<>();

    private static final String[] ODD_TEXTS = {
        null, "", "%s%n%d", "\0", "\uD83D\uDE00 \uD800 \u00e4", "12", "-1", "2147483647", "4294967297", "x"
    };
    private static Random random; // null for one that does as it was told
    private static long calls;
    private static boolean calm;

    private String number = "";

    /** Notes that the JVM was asked to describe it. */
    @SuppressWarnings("serial")
    private static class Played extends RuntimeException {
        @Override
        public void printStackTrace() { lines.add("printed"); }
    }

    /**
     * From now on `key`, a method or a property, plays `behaviour`: "usual", "throw", "null",
     * "enter", which calls the host before the usual, or an answer as a text, with {X} for the
     * UTF-16 unit X and for every unit that is not ASCII. getData can also "echo" the latest
     * inputs. Two keys ask instead: "lines" for the calls since the last time, "objects" for the number of
     * simulation objects that somebody still holds. After "seed" answers come at random and no call is
     * noted; then "calls" asks for their number, and a "calm" object behaves for a while.
     */
    static String play(String key, String behaviour) {
        if (key.equals("calls")) {
            calm = behaviour.equals("calm");
            return "" + calls;
        } else if (key.equals("seed")) {
            random = new Random(Long.parseLong(behaviour));
            // The bridge has the JVM print every exception of ours.
            System.setErr(new PrintStream(new OutputStream() {
                @Override
                public void write(int b) { }
            }));
            return "";
        } else if (key.equals("objects")) {
            System.gc();
            return "" + objects.stream().filter(object -> object.get() != null).count();
        } else if (!key.equals("lines")) {
            for (int at; (at = behaviour.indexOf('{')) >= 0;) {
                String unit = behaviour.substring(at + 1, behaviour.indexOf('}'));
                behaviour = behaviour.replace("{" + unit + "}",
                        "" + (char) Integer.parseInt(unit, 16));
            }
            script.put(key, behaviour);
            return "";
        }
        String all = String.join("\n", lines);
        lines.clear();
        return all.chars().mapToObj(c -> c < 128 ? "" + (char) c : String.format("{%X}", c))
                .collect(Collectors.joining());
    }

    private static boolean chance(int in) { return !calm && random.nextInt(in) == 0; }

    private static String atRandom(String key, String usual) {
        calls++;
        if (chance(12)) {
            throw new IllegalStateException("a bad day");
        }
        if (chance(200)) {
            throw new StackOverflowError();
        }
        if (key.equals("getLasterror") || key.startsWith("number_of_") && chance(20)) {
            return ODD_TEXTS[random.nextInt(ODD_TEXTS.length)];
        }
        if (key.equals("getData") && chance(4)) {
            return String.join(" ", Collections.nCopies(random.nextInt(40), "1"));
        }
        if (key.startsWith("number_of_")) {
            return key.equals("number_of_reals") ? "12" : usual;
        }
        return !chance(8) ? usual : usual.equals("true") ? "false" : null;
    }

    /** What the host does in the middle of a call. */
    private static native void enter();

    private static String played(String key, String usual, String line, Object... arguments) {
        if (random != null) {
            return atRandom(key, usual);
        }
        Thread thread = Thread.currentThread();
        if (!threads.contains(thread)) {
            threads.add(thread);
        }
        for (Object argument : arguments) {
            line += " " + (argument instanceof double[]
                    ? Arrays.toString((double[]) argument) : argument);
        }
        int foreign = threads.indexOf(thread);
        lines.add(line + (foreign > 0 ? " @" + foreign : "") + (thread.isDaemon() ? " daemon" : ""));
        String behaviour = script.getOrDefault(key, "usual");
        if (behaviour.equals("throw")) {
            throw new Played();
        } else if (behaviour.equals("enter")) {
            enter();
            return usual;
        }
        return behaviour.equals("null") ? null : behaviour.equals("usual") ? usual : behaviour;
    }

    private boolean answer(String method, Object... arguments) {
        return Boolean.parseBoolean(played(method, "true", method + number, arguments));
    }

    /** A new object each time; all but the first put their number behind the method's name. */
    public static ZelvoxSim create() {
        if (played("create", "", "create") == null) {
            return null;
        }
        ZelvoxSim object = new ZelvoxSim();
        objects.add(new WeakReference<>(object));
        object.number = objects.size() > 1 ? "#" + objects.size() : "";
        return object;
    }
    public boolean doInitConnection() { return answer("doInitConnection"); }

    public boolean doInstantiate(String name, String location) {
        return answer("doInstantiate", name, location);
    }

    public String getLasterror() {
        return played("getLasterror", "because", "getLasterror" + number);
    }

    public String getProp(String name, String key) {
        String usual = key.equals("number_of_reals") ? "7"
                : key.equals("number_of_inputs") ? "3" : "2";
        return played(key, usual, "getProp" + number, name, key);
    }

    public boolean doSetupExperiment(String name, double start, boolean stopDefined, double stop) {
        return answer("doSetupExperiment", name, start, stopDefined, stop);
    }
    public boolean doInitializeModel(String name) { return answer("doInitializeModel", name); }

    public void setReal(String name, int valueReference, double value) {
        answer("setReal", name, valueReference, value);
    }
    public void doTerminate(String name) { answer("doTerminate", name); }
    public void doFreeInstance(String name) { answer("doFreeInstance", name); }

    public double[] getData(String name) {
        String values = played("getData", "1.5 -2.5", "getData" + number, name);
        if ("echo".equals(values)) {
            return latestInputs.get(name);
        }
        return values == null ? null : Arrays.stream(values.split(" ")).filter(v -> !v.isEmpty())
                .mapToDouble(Double::parseDouble).toArray();
    }

    public boolean doStepModel(String name, double time, double stepSize, double[] inputs) {
        latestInputs.put(name, inputs);
        return answer("doStepModel", name, time, stepSize, inputs);
    }
}
