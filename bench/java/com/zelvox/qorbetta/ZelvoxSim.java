package com.zelvox.qorbetta;

import java.util.HashMap;
import java.util.Map;

/**
 * A simulation object that does next to nothing, so that what is measured is the way to it. An
 * instance is as large as its name says: "3 2 first" has 3 inputs and 2 outputs. All answers are
 * made at the instantiation.
 */
public final class ZelvoxSim {
    private static final ZelvoxSim SHARED = new ZelvoxSim();

    private static final class Instance {
        final String inputs;
        final String outputs;
        final String reals;
        final double[] data;
        double lastSet;

        Instance(String name) {
            String[] words = name.split(" ");
            inputs = words[0];
            outputs = words[1];
            data = new double[Integer.parseInt(outputs)];
            reals = Integer.toString(2 * data.length + Integer.parseInt(inputs));
        }
    }

    private final Map<String, Instance> instances = new HashMap<>();

    public static ZelvoxSim create() { return SHARED; }

    public boolean doInitConnection() { return true; }

    public boolean doInstantiate(String name, String resourceLocation) {
        instances.put(name, new Instance(name));
        return true;
    }

    public String getLasterror() { return ""; }

    public String getProp(String name, String key) {
        Instance instance = instances.get(name);
        char kind = key.charAt("number_of_".length());
        return kind == 'i' ? instance.inputs : kind == 'o' ? instance.outputs : instance.reals;
    }

    public boolean doSetupExperiment(String name, double start, boolean stopDefined, double stop) {
        return true;
    }

    public boolean doInitializeModel(String name) { return true; }

    public void setReal(String name, int valueReference, double value) {
        instances.get(name).lastSet = value;
    }

    public double[] getData(String name) { return instances.get(name).data; }

    public boolean doStepModel(String name, double time, double stepSize, double[] inputs) {
        return true;
    }

    public void doTerminate(String name) {}

    public void doFreeInstance(String name) { instances.remove(name); }
}
