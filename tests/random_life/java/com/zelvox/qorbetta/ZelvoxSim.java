package com.zelvox.qorbetta;

import java.io.OutputStream;
import java.io.PrintStream;
import java.util.Random;

/** A simulation object that no importer deserves: it answers whatever comes to its mind. */
public class ZelvoxSim {
    private static final String[] ODD_TEXTS = {
        null, "", "%s%n%d", "\0", "\uD83D\uDE00 \uD800 \u00e4", "12", "-1", "2147483647", "4294967297", "x"
    };
    private static Random random;
    private static long calls;
    private static boolean calm;

    public static void seed(long seed) {
        random = new Random(seed);
        // The bridge has the JVM print every exception of ours.
        System.setErr(new PrintStream(new OutputStream() {
            @Override
            public void write(int b) {
            }
        }));
    }

    /** How many methods were called so far; a calm object behaves for a while. */
    public static long calls(boolean stayCalm) {
        calm = stayCalm;
        return calls;
    }

    private static boolean chance(int in) { return !calm && random.nextInt(in) == 0; }
    private static void called() {
        calls++;
        if (chance(12)) {
            throw new IllegalStateException("a bad day");
        }
        if (chance(200)) {
            throw new StackOverflowError();
        }
    }

    private static boolean answer() {
        called();
        return !chance(8);
    }

    private static String text() {
        called();
        return ODD_TEXTS[random.nextInt(ODD_TEXTS.length)];
    }

    public static ZelvoxSim create() {
        called();
        return chance(10) ? null : new ZelvoxSim();
    }

    public boolean doInitConnection() { return answer(); }
    public boolean doInstantiate(String name, String location) { return answer(); }
    public String getLasterror() { return text(); }
    public String getProp(String name, String key) {
        if (chance(20)) {
            return text();
        }
        called();
        return key.equals("number_of_reals") ? "12" : key.equals("number_of_inputs") ? "4" : "3";
    }

    public boolean doSetupExperiment(String name, double start, boolean stopDefined, double stop) { return answer(); }
    public boolean doInitializeModel(String name) { return answer(); }
    public void setReal(String name, int reference, double value) { called(); }
    public void doTerminate(String name) { called(); }
    public void doFreeInstance(String name) { called(); }
    public double[] getData(String name) {
        called();
        return chance(10) ? null : new double[chance(4) ? random.nextInt(40) : 3];
    }

    public boolean doStepModel(String name, double time, double step, double[] inputs) { return answer(); }
}
